#include "properties/fields_prop_host.h"

#include <algorithm>

#include "base/out_values.h"

using SharePoint::Field;

namespace TMK {
namespace {

DWORD KindOf(const Field& field) {
    switch (field.m_kind) {
        case SharePoint::field_text:
        case SharePoint::field_note:
            return UIX_Prop_String;
        case SharePoint::field_date_time:
            return UIX_Prop_Date;
        case SharePoint::field_choice:
            return UIX_Prop_Choice;
        case SharePoint::field_boolean:
            return UIX_Prop_Bool;
        case SharePoint::field_number:
            return UIX_Prop_Number;
        default:
            return UIX_Prop_None;
    }
}

DWORD FlagsOf(Field& field) {
    if (field.m_kind == SharePoint::field_note) return UIX_Prop_MultiLine;
    const bool has_time = field.m_kind == SharePoint::field_date_time && !SharePoint::DateOf(field).is_day;
    return has_time ? DWORD{UIX_Prop_ShowTime} : 0;
}

// 0 while there is no date.
Variant DateValue(Field& field) {
    SYSTEMTIME time = SharePoint::DateOf(field).time;
    Variant value;
    value.vt = VT_R8;
    if (!SystemTimeToVariantTime(&time, &value.dblVal) || time.wYear == 0) value.dblVal = 0;
    return value;
}

// docs/compatibility.md: The choices of a modern site are typed
bool IsTyped(const Field& field) {
    return field.m_choices.empty();
}

// Empty when the stored text is none of the choices.
Variant ChoiceValue(const Field& field) {
    const VARIANT& stored = field.m_value.get();
    if (stored.vt != VT_BSTR) return {};
    if (IsTyped(field)) return field.m_value;
    const std::u16string_view text(stored.bstrVal ? stored.bstrVal : u"", SysStringLen(stored.bstrVal));
    const auto found = std::find(field.m_choices.begin(), field.m_choices.end(), text);
    if (found == field.m_choices.end()) return {};
    return Variant(static_cast<LONG>(found - field.m_choices.begin()));
}

// docs/compatibility.md: A date can't be emptied
HRESULT WriteDate(Field& field, const VARIANT& value) {
    SYSTEMTIME time{};
    ComPtr<IFieldDateTimeData> data;
    if (value.vt != VT_DATE || !VariantTimeToSystemTime(value.date, &time)) return S_OK;
    const HRESULT result = field.GetDateTimeData(data);
    return SUCCEEDED(result) ? data->put_DateTime(time) : result;
}

HRESULT WriteChoice(Field& field, const VARIANT& value) {
    TRACE_NAME("FieldsPropHost::SetValue");
    if (IsTyped(field) && value.vt == VT_BSTR) {
        field.m_value = Variant(value);
        return S_OK;
    }
    LONG index = 0;
    Variant number;
    if (value.vt == VT_I4) {
        index = value.lVal;
    } else if (SUCCEEDED(VariantChangeType(&number, &value, 0, VT_I4))) {
        index = number.lVal;
    }
    CHECK_RETURN(index >= 0 && static_cast<size_t>(index) < field.m_choices.size(), E_INVALIDARG);
    field.m_value = Variant(std::u16string_view(field.m_choices[index]));
    return S_OK;
}

HRESULT Copy(Field& field, const VARIANT& value, VARTYPE type) {
    if (value.vt == type) field.m_value = Variant(value);
    return S_OK;
}

HRESULT Write(Field& field, const VARIANT& value) {
    switch (KindOf(field)) {
        case UIX_Prop_String:
            return Copy(field, value, VT_BSTR);
        case UIX_Prop_Date:
            return WriteDate(field, value);
        case UIX_Prop_Choice:
            return WriteChoice(field, value);
        case UIX_Prop_Bool:
            return Copy(field, value, VT_BOOL);
        case UIX_Prop_Number:
            return Copy(field, value, VT_R8);
        default:
            return S_OK;
    }
}

Variant Read(Field& field) {
    switch (KindOf(field)) {
        case UIX_Prop_Date:
            return DateValue(field);
        case UIX_Prop_Choice:
            return ChoiceValue(field);
        case UIX_Prop_None:
            return {};
        default:
            return field.m_value;
    }
}

}  // namespace

HRESULT FieldPropInfo::get_Index(UINT* out_index) {
    TRACE_ENTRY("FieldPropInfo::get_Index");
    RETURN_VALUE(out_index, m_index);
}

HRESULT FieldPropInfo::get_Kind(DWORD* out_kind) {
    TRACE_ENTRY("FieldPropInfo::get_Kind");
    RETURN_VALUE(out_kind, KindOf(*m_field));
}

HRESULT FieldPropInfo::get_Flags(DWORD* out_flags) {
    TRACE_ENTRY("FieldPropInfo::get_Flags");
    RETURN_VALUE(out_flags, FlagsOf(*m_field));
}

HRESULT FieldPropInfo::get_Title(BSTR* out_title) {
    TRACE_ENTRY("FieldPropInfo::get_Title");
    RETURN_STRING(out_title, m_field->m_required ? u"* " + m_field->m_title : m_field->m_title);
}

HRESULT FieldPropInfo::get_Description(BSTR* out_description) {
    TRACE_ENTRY("FieldPropInfo::get_Description");
    RETURN_STRING(out_description, m_field->m_description);
}

HRESULT FieldPropInfo::get_ChoicesCount(UINT* out_count) {
    TRACE_ENTRY("FieldPropInfo::get_ChoicesCount");
    RETURN_VALUE(out_count, static_cast<UINT>(m_field->m_choices.size()));
}

HRESULT FieldPropInfo::GetChoice(UINT index, BSTR* out_text, PARAM_T* out_parameter) {
    TRACE_ENTRY("FieldPropInfo::GetChoice");
    CHECK_RETURN(out_text != nullptr, E_POINTER);
    if (out_parameter) *out_parameter = 0;
    *out_text =
        AllocateString(index < m_field->m_choices.size() ? m_field->m_choices[index] : std::u16string());
    CHECK_RETURN(*out_text != nullptr, E_OUTOFMEMORY);
    TRACE_RETURN(S_FALSE);
}

HRESULT FieldPropInfo::get_MaxLength(UINT* out_length) {
    TRACE_ENTRY("FieldPropInfo::get_MaxLength");
    if (m_field->m_max_length < 0) return Nothing(out_length);
    RETURN_VALUE(out_length, static_cast<UINT>(m_field->m_max_length));
}

HRESULT FieldPropInfo::GetRange(double* out_minimum, double* out_maximum, LONG* out_digits, LONG* out_step,
                                LONG* out_reserved1, LONG* out_reserved2, LONG* out_reserved3) {
    TRACE_ENTRY("FieldPropInfo::GetRange");
    CHECK_RETURN(out_minimum != nullptr && out_maximum != nullptr, E_POINTER);
    *out_minimum = -1.0;
    *out_maximum = 1.0;
    const auto give = [](LONG* out_value, LONG value) {
        if (out_value) *out_value = value;
    };
    give(out_digits, 8);
    give(out_step, -1);
    for (LONG* const reserved : {out_reserved1, out_reserved2, out_reserved3}) give(reserved, 0);
    TRACE_RETURN(S_FALSE);
}

HRESULT FieldsPropHost::get_Count(UINT* out_count) {
    TRACE_ENTRY("FieldsPropHost::get_Count");
    RETURN_VALUE(out_count, static_cast<UINT>(m_fields->size()));
}

HRESULT FieldsPropHost::PositionToIndex(UINT position, UINT* out_index) {
    TRACE_ENTRY("FieldsPropHost::PositionToIndex");
    RETURN_VALUE(out_index, position);
}

HRESULT FieldsPropHost::GetInfo(UINT index, IUIX_PropInfo** out_info) {
    TRACE_ENTRY("FieldsPropHost::GetInfo");
    try {
        CHECK_RETURN(out_info != nullptr, E_POINTER);
        *out_info = nullptr;
        CHECK_RETURN(index < m_fields->size(), E_FAIL);
        *out_info = MakeObject<FieldPropInfo>((*m_fields)[index], index).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FieldsPropHost::GetValue(UINT index, VARIANT* out_value) {
    TRACE_ENTRY("FieldsPropHost::GetValue");
    try {
        CHECK_RETURN(out_value != nullptr, E_POINTER);
        CHECK_RESULT(VariantClear(out_value));
        CHECK_RETURN(index < m_fields->size(), E_FAIL);
        *out_value = Read(*(*m_fields)[index]).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FieldsPropHost::SetValue(UINT index, const VARIANT* value) {
    TRACE_ENTRY("FieldsPropHost::SetValue");
    try {
        CHECK_RETURN(value != nullptr, E_POINTER);
        CHECK_RETURN(index < m_fields->size(), E_FAIL);
        CHECK_RESULT(Write(*(*m_fields)[index], *value));
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

}  // namespace TMK
