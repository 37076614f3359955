// A string as a host object, for host operations that want one. One thread at a time.
#pragma once

#include <string>

#include "base/scaffolding.h"
#include "hostapi/common.h"

namespace Utility {

class TMKString final : public cCoClassDispatchT<TMKString, TMK::IString> {
public:
    HRESULT get_Value(BSTR* out_value) override;
    HRESULT put_Value(LPCWSTR value) override;
    HRESULT get_IsEmpty(VARIANT_BOOL* out_empty) override;
    HRESULT Clear() override;
    HRESULT get_Length(UINT* out_length) override;
    HRESULT SetValue(LPCWSTR value, UINT length) override;

private:
    std::u16string m_value;
};

}  // namespace Utility
