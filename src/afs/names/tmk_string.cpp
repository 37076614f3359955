// A string as a host object.
#include "afs/names/tmk_string.h"

#include "base/failure.h"

namespace Utility {

HRESULT TMKString::get_Value(BSTR* out_value) {
    TRACE_ENTRY("TMKString::get_Value");
    CHECK_RETURN(out_value != nullptr, E_POINTER);
    *out_value = SysAllocStringLen(m_value.data(), static_cast<UINT>(m_value.size()));
    CHECK_RETURN(*out_value != nullptr, E_OUTOFMEMORY);
    TRACE_RETURN(S_OK);
}

HRESULT TMKString::put_Value(LPCWSTR value) {
    TRACE_ENTRY("TMKString::put_Value");
    try {
        m_value = value ? value : u"";
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT TMKString::get_IsEmpty(VARIANT_BOOL* out_empty) {
    TRACE_ENTRY("TMKString::get_IsEmpty");
    CHECK_RETURN(out_empty != nullptr, E_POINTER);
    *out_empty = m_value.empty() ? VARIANT_TRUE : VARIANT_FALSE;
    TRACE_RETURN(S_OK);
}

HRESULT TMKString::Clear() {
    TRACE_ENTRY("TMKString::Clear");
    m_value.clear();
    TRACE_RETURN(S_OK);
}

HRESULT TMKString::get_Length(UINT* out_length) {
    TRACE_ENTRY("TMKString::get_Length");
    CHECK_RETURN(out_length != nullptr, E_POINTER);
    *out_length = static_cast<UINT>(m_value.size());
    TRACE_RETURN(S_OK);
}

HRESULT TMKString::SetValue(LPCWSTR value, UINT length) {
    TRACE_ENTRY("TMKString::SetValue");
    try {
        m_value.assign(value ? value : u"", value ? length : 0);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

}  // namespace Utility
