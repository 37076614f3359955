#include "sharepoint/fields_text.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>

#include "base/text/encoding.h"
#include "base/text/iso8601.h"
#include "sharepoint/json.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace SharePoint {

namespace {

using Buffer = rapidjson::GenericStringBuffer<Json::Encoding>;
using Writer = rapidjson::Writer<Buffer, Json::Encoding, Json::Encoding>;

constexpr struct {
    uint32_t kind;
    const char16_t* word;
} kKinds[] = {{field_text, u"text"},     {field_note, u"note"},      {field_date_time, u"date"},
              {field_choice, u"choice"}, {field_boolean, u"yes/no"}, {field_number, u"number"}};

const char16_t* WordOf(uint32_t kind) {
    for (const auto& known : kKinds)
        if (known.kind == kind) return known.word;
    return u"";
}

void Write(Writer& writer, std::u16string_view text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void WriteDate(Writer& writer, Field& field) {
    const FieldDate date = DateOf(field);
    if (date.time.wYear == 0) {
        writer.Null();
    } else {
        Write(writer, FormatDateTimeIso8601(date.time, date.is_day));
    }
}

void WriteValue(Writer& writer, Field& field) {
    const VARIANT& value = field.m_value.get();
    if (field.m_kind == field_date_time) return WriteDate(writer, field);
    switch (value.vt) {
        case VT_BSTR:
            return Write(writer, value.bstrVal ? value.bstrVal : u"");
        case VT_BOOL:
            writer.Bool(value.boolVal != VARIANT_FALSE);
            return;
        case VT_R8:
            writer.Double(value.dblVal);
            return;
        case VT_I4:
            writer.Int(value.lVal);
            return;
        case VT_I8:
            writer.Int64(value.llVal);
            return;
        default:
            writer.Null();
    }
}

void WriteField(Writer& writer, Field& field) {
    const auto text = [&](const char16_t* key, std::u16string_view value) {
        writer.Key(key);
        Write(writer, value);
    };
    writer.StartObject();
    text(u"name", field.m_name);
    text(u"title", field.m_title);
    text(u"kind", WordOf(field.m_kind));
    writer.Key(u"required");
    writer.Bool(field.m_required);
    writer.Key(u"value");
    WriteValue(writer, field);
    if (field.m_kind == field_choice) {
        writer.Key(u"choices");
        writer.StartArray();
        for (const std::u16string& choice : field.m_choices) Write(writer, choice);
        writer.EndArray();
    }
    if (!field.m_description.empty()) text(u"description", field.m_description);
    if (!field.m_default_value.empty()) text(u"default", field.m_default_value);
    if (field.m_max_length >= 0) {
        writer.Key(u"maxLength");
        writer.Int(field.m_max_length);
    }
    writer.EndObject();
}

[[noreturn]] void Refuse(const std::u16string& sentence) {
    throw HResultException(E_INVALIDARG, sentence);
}

[[noreturn]] void Refuse(const Field& field, std::u16string_view text, const char16_t* wanted) {
    Refuse(u"The column '" + field.m_name + u"' takes " + wanted + u", not '" + std::u16string(text) + u"'.");
}

// The text escaped for JSON; SerializeFields writes it without escaping.
Variant JsonText(std::u16string_view text) {
    Buffer buffer;
    Writer writer(buffer);
    Write(writer, text);
    const std::u16string_view quoted(buffer.GetString());
    return Variant(quoted.substr(1, quoted.size() - 2));
}

void SetText(Field& field, std::u16string_view text) {
    if (field.m_max_length >= 0 && text.size() > static_cast<size_t>(field.m_max_length)) {
        Refuse(u"The column '" + field.m_name + u"' takes " + Widen(std::to_string(field.m_max_length)) +
               u" characters at most.");
    }
    field.m_value = JsonText(text);
}

void SetChoice(Field& field, std::u16string_view text) {
    const bool is_known =
        std::find(field.m_choices.begin(), field.m_choices.end(), text) != field.m_choices.end();
    if (!is_known && !field.m_choices.empty() && !text.empty()) Refuse(field, text, u"one of its choices");
    field.m_value = JsonText(text);
}

void SetDate(Field& field, std::u16string_view text) {
    SYSTEMTIME time{};
    if (FAILED(ParseDateTimeIso8601(std::u16string(text), &time)))
        Refuse(field, text, u"a date such as 2013-05-01 or 2013-05-01T10:20:30Z");
    ComPtr<IFieldDateTimeData> data;
    if (SUCCEEDED(field.GetDateTimeData(data))) data->put_DateTime(time);
}

void SetBoolean(Field& field, std::u16string_view text) {
    const auto is_one_of = [&](std::initializer_list<std::u16string_view> words) {
        return std::find(words.begin(), words.end(), text) != words.end();
    };
    if (is_one_of({u"yes", u"true", u"1"})) {
        field.m_value = Variant(true);
    } else if (is_one_of({u"no", u"false", u"0"})) {
        field.m_value = Variant(false);
    } else {
        Refuse(field, text, u"yes or no");
    }
}

void SetNumber(Field& field, std::u16string_view text) {
    const std::string digits = ToUtf8(text);
    double number = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (digits.empty() || read.ec != std::errc() || read.ptr != digits.data() + digits.size() ||
        !(number - number == 0)) {
        Refuse(field, text, u"a number such as 12.5");
    }
    VARIANT value{};
    value.vt = VT_R8;
    value.dblVal = number;
    field.m_value = Variant(value);
}

void SetValue(Field& field, std::u16string_view text) {
    switch (field.m_kind) {
        case field_choice:
            return SetChoice(field, text);
        case field_date_time:
            return SetDate(field, text);
        case field_boolean:
            return SetBoolean(field, text);
        case field_number:
            return SetNumber(field, text);
        default:
            return SetText(field, text);
    }
}

}  // namespace

std::u16string DescribeFields(const FieldsData& data) {
    Buffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writer.Key(u"requiredUnsupported");
    writer.Bool(data.has_unsupported_required);
    writer.Key(u"fields");
    writer.StartArray();
    for (const std::shared_ptr<Field>& field : data.fields) WriteField(writer, *field);
    writer.EndArray();
    writer.EndObject();
    return buffer.GetString();
}

FieldsData ChangedFields(const FieldsData& data, const std::u16string& changes) {
    Json::Document document;
    if (!document.Parse(ToUtf8(changes)) || !document.Root().IsObject())
        Refuse(u"The changes are no JSON object of texts.");
    FieldsData changed;
    for (const auto& change : document.Root().GetObject()) {
        const std::u16string_view name = Json::Text(&change.name);
        const auto field = std::find_if(data.fields.begin(), data.fields.end(),
                                        [&](const std::shared_ptr<Field>& f) { return f->m_name == name; });
        if (field == data.fields.end())
            Refuse(u"The document has no column '" + std::u16string(name) + u"' that can be changed.");
        if (!change.value.IsString()) Refuse(u"The changes are no JSON object of texts.");
        SetValue(**field, Json::Text(&change.value));
        changed.fields.push_back(*field);
    }
    return changed;
}

std::vector<std::string> SentValues(const FieldsData& data) {
    std::vector<std::string> values;
    for (const std::shared_ptr<Field>& field : data.fields) values.push_back(SerializeFields({field}));
    return values;
}

FieldsData ChangedSince(const std::vector<std::string>& before, const FieldsData& data) {
    FieldsData changed;
    for (size_t i = 0; i < data.fields.size(); ++i) {
        if (SerializeFields({data.fields[i]}) == before[i]) continue;
        auto field = std::make_shared<Field>(*data.fields[i]);
        const VARIANT& value = field->m_value.get();
        if (value.vt == VT_BSTR)
            field->m_value = JsonText({value.bstrVal ? value.bstrVal : u"", SysStringLen(value.bstrVal)});
        changed.fields.push_back(std::move(field));
    }
    return changed;
}

}  // namespace SharePoint
