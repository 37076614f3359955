// A document's library columns as a list of properties of the host: the whole, and one object a row.
// Main thread only; the array of columns is the caller's and outlives both.
#pragma once

#include <memory>
#include <vector>

#include "base/scaffolding.h"
#include "hostapi/iwindows.h"
#include "sharepoint/fields.h"

// The base of a row's description: what it does not have is zero, with S_FALSE.
template <typename Class>
class uiPropInfoBase : public cCoClassUnknownT<Class, TMK::IUIX_PropInfo> {
public:
    HRESULT get_Index(UINT* out_index) override { return Nothing(out_index); }
    HRESULT get_Kind(DWORD* out_kind) override { return Nothing(out_kind); }
    HRESULT get_Flags(DWORD* out_flags) override { return Nothing(out_flags); }
    HRESULT get_Title(BSTR* out_title) override { return Nothing(out_title); }
    HRESULT get_Description(BSTR* out_description) override { return Nothing(out_description); }
    HRESULT get_Icon(TMK::IUIX_Icon** out_icon) override { return Nothing(out_icon); }
    HRESULT get_ChoicesCount(UINT* out_count) override { return Nothing(out_count); }
    HRESULT GetChoice(UINT, BSTR* out_text, TMK::PARAM_T* out_parameter) override {
        if (out_parameter) *out_parameter = 0;
        return Nothing(out_text);
    }
    HRESULT get_MaxLength(UINT* out_length) override { return Nothing(out_length); }
    HRESULT GetRange(double* out_minimum, double* out_maximum, LONG*, LONG*, LONG*, LONG*, LONG*) override {
        if (!out_maximum) return E_POINTER;
        *out_maximum = 0;
        return Nothing(out_minimum);
    }

protected:
    template <typename Value>
    static HRESULT Nothing(Value* out_value) {
        if (!out_value) return E_POINTER;
        *out_value = Value{};
        return S_FALSE;
    }
};

namespace TMK {

class FieldPropInfo final : public uiPropInfoBase<FieldPropInfo> {
public:
    FieldPropInfo(std::shared_ptr<SharePoint::Field> field, UINT index)
        : m_field(std::move(field)), m_index(index) {}

    HRESULT get_Index(UINT* out_index) override;
    HRESULT get_Kind(DWORD* out_kind) override;
    HRESULT get_Flags(DWORD* out_flags) override;
    HRESULT get_Title(BSTR* out_title) override;
    HRESULT get_Description(BSTR* out_description) override;
    HRESULT get_ChoicesCount(UINT* out_count) override;
    HRESULT GetChoice(UINT index, BSTR* out_text, PARAM_T* out_parameter) override;
    HRESULT get_MaxLength(UINT* out_length) override;
    HRESULT GetRange(double* out_minimum, double* out_maximum, LONG* out_digits, LONG* out_step,
                     LONG* out_reserved1, LONG* out_reserved2, LONG* out_reserved3) override;

private:
    const std::shared_ptr<SharePoint::Field> m_field;
    const UINT m_index;
};

using Fields = std::vector<std::shared_ptr<SharePoint::Field>>;

class FieldsPropHost final : public cCoClassUnknownT<FieldsPropHost, IUIX_PropHost> {
public:
    explicit FieldsPropHost(const Fields* fields) : m_fields(fields) {}

    HRESULT get_Count(UINT* out_count) override;
    HRESULT PositionToIndex(UINT position, UINT* out_index) override;
    HRESULT GetInfo(UINT index, IUIX_PropInfo** out_info) override;
    HRESULT GetValue(UINT index, VARIANT* out_value) override;
    // A value of the wrong type changes nothing, with success.
    HRESULT SetValue(UINT index, const VARIANT* value) override;

private:
    const Fields* m_fields;
};

}  // namespace TMK
