#include "afs/names/tmk_string.h"

#include "base/out_values.h"

namespace Utility {

HRESULT TMKString::get_Value(BSTR* out_value) {
    TRACE_ENTRY("TMKString::get_Value");
    RETURN_STRING(out_value, m_value);
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
    RETURN_VALUE(out_empty, ToVariantBool(m_value.empty()));
}

HRESULT TMKString::Clear() {
    TRACE_ENTRY("TMKString::Clear");
    m_value.clear();
    TRACE_RETURN(S_OK);
}

HRESULT TMKString::get_Length(UINT* out_length) {
    TRACE_ENTRY("TMKString::get_Length");
    RETURN_VALUE(out_length, static_cast<UINT>(m_value.size()));
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
