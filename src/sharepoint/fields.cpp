#include "sharepoint/fields.h"

#include <charconv>

#include "base/scaffolding.h"
#include "base/text/encoding.h"
#include "base/text/iso8601.h"

namespace SharePoint {

namespace {

class FieldDateTimeData final : public cCoClassUnknownT<FieldDateTimeData, IFieldDateTimeData> {
public:
    HRESULT get_DateTime(SYSTEMTIME* out_time) override {
        if (!out_time) return E_POINTER;
        *out_time = m_date_time;
        return S_OK;
    }
    HRESULT put_DateTime(const SYSTEMTIME& time) override {
        m_date_time = time;
        return S_OK;
    }
    HRESULT get_DisplayFormat(LONG* out_format) override {
        if (!out_format) return E_POINTER;
        *out_format = m_display_format;
        return S_OK;
    }
    HRESULT put_DisplayFormat(LONG format) override {
        m_display_format = format;
        return S_OK;
    }

private:
    SYSTEMTIME m_date_time{};
    int32_t m_display_format = -1;
};

std::u16string Quoted(std::u16string_view text) {
    return u"\"" + std::u16string(text) + u"\"";
}

std::u16string DateText(Field& field) {
    const FieldDate date = DateOf(field);
    return FormatDateTimeIso8601(date.time, date.is_day);
}

// With six digits behind a point, in any locale.
std::u16string NumberText(double number) {
    char text[400];
    const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, 6).ptr;
    return Widen({text, static_cast<size_t>(end - text)});
}

// Sent for a boolean without a value, and for a number that isn't VT_R8, such as a loaded integer. The comma
// is part of it.
constexpr char16_t kNoText[] = u"null,";

// Empty for a kind that is not sent.
std::u16string ValueText(Field& field) {
    const VARIANT& value = field.m_value.get();
    switch (field.m_kind) {
        case field_text:
        case field_note:
        case field_choice:
            return Quoted(value.vt == VT_BSTR && value.bstrVal ? value.bstrVal : u"");
        case field_date_time:
            return Quoted(DateText(field));
        case field_boolean:
            if (value.vt != VT_BOOL) return kNoText;
            return value.boolVal != VARIANT_FALSE ? u"true" : u"false";
        case field_number:
            return value.vt == VT_R8 ? NumberText(value.dblVal) : kNoText;
        default:
            return {};
    }
}

}  // namespace

bool IsSupportedFieldKind(uint32_t kind) {
    static constexpr uint32_t kSupported = 1u << field_text | 1u << field_note | 1u << field_date_time |
                                           1u << field_choice | 1u << field_boolean | 1u << field_number;
    return kind < 10 && (kSupported >> kind & 1) != 0;
}

HRESULT Field::GetDateTimeData(ComPtr<IFieldDateTimeData>& out_data) {
    if (m_kind != field_date_time) return E_UNEXPECTED;
    if (m_value.type() == VT_UNKNOWN && m_value.get().punkVal) {
        const HRESULT result = m_value.get().punkVal->QueryInterface(
            IFieldDateTimeData::kIid, reinterpret_cast<void**>(out_data.put()));
        if (SUCCEEDED(result)) return result;
    }
    const auto data = MakeObject<FieldDateTimeData>();
    out_data = ComPtr<IFieldDateTimeData>(data.get());
    m_value = Variant(static_cast<IUnknown*>(data.get()));
    return S_OK;
}

std::string SerializeFields(const std::vector<std::shared_ptr<Field>>& fields, bool by_entity_name) {
    std::u16string text = u"{";
    for (const std::shared_ptr<Field>& field : fields) {
        const std::u16string value = ValueText(*field);
        const bool is_renamed = by_entity_name && !field->m_entity_name.empty();
        if (!value.empty())
            text += Quoted(is_renamed ? field->m_entity_name : field->m_name) + u":" + value + u",";
    }
    text.back() = u'}';
    return ToUtf8(text);
}

FieldDate DateOf(Field& field) {
    FieldDate date;
    ComPtr<IFieldDateTimeData> data;
    LONG format = -1;
    if (SUCCEEDED(field.GetDateTimeData(data))) {
        data->get_DateTime(&date.time);
        data->get_DisplayFormat(&format);
    }
    date.is_day = format == 0;
    return date;
}

}  // namespace SharePoint
