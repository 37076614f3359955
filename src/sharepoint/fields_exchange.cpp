#include <algorithm>

#include "base/text/encoding.h"
#include "base/text/iso8601.h"
#include "base/url.h"
#include "sharepoint/change.h"
#include "sharepoint/fields.h"
#include "sharepoint/reading.h"
#include "sharepoint/request_digest.h"

namespace SharePoint {

namespace {

constexpr uint32_t kBadRequest = 400;
constexpr uint32_t kTooLongAddress = 414;
constexpr uint32_t kServerError = 500;
constexpr uint32_t kNoListItem = 0x82000006;

// Of the columns that people may edit.
#define EDITABLE                                                   \
    u"&$filter=(ReadOnlyField+eq+false)+and+(Hidden+eq+false)+and" \
    u"(Group+ne+'_Hidden')+and+(StaticName+ne+'FileLeafRef')"
constexpr char16_t kFieldsQuery[] =
    u"/ListItemAllFields/ParentList/Fields?$select=StaticName,FieldTypeKind,Required,Title,Description,"
    u"DefaultValue,Choices,DisplayFormat,MaxLength" EDITABLE;
constexpr char16_t kNamesQuery[] =
    u"/ListItemAllFields/ParentList/Fields?$select=StaticName,EntityPropertyName" EDITABLE;
#undef EDITABLE

// Of the names in one request, where the server refused all at once; its addresses go to 2,048.
constexpr size_t kMostNames = 1500;

std::u16string Address(const FieldsSource& source, const std::u16string& suffix) {
    return source.web + u"/_api/Web/GetFileByServerRelativePath(decodedurl='/" +
           UrlEncodeQuoted(source.path) + u"')" + suffix;
}

// Whether the server says that no list item is behind the document.
bool IsWithoutListItem(const Json::Document& answer) {
    const Json::Value* error = Json::ObjectMember(&answer.Root(), u"odata.error");
    return Json::Code(Json::Member(error, u"code")) == kNoListItem;
}

// Text of a member that may be missing or null.
std::u16string OptionalText(const Json::Value& element, const char16_t* key) {
    return std::u16string(Json::Text(Json::Member(&element, key)));
}

void ReadChoices(const Json::Value& element, Field& field) {
    const Json::Value* choices = Json::Member(&element, u"Choices");
    if (!choices || !choices->IsArray()) return;
    for (const Json::Value& choice : choices->GetArray())
        if (choice.IsString()) field.m_choices.emplace_back(Json::Text(&choice));
}

void ReadDisplayFormat(const char* trace_function, const Json::Value& element, Field& field) {
    const Json::Value* format = Json::Member(&element, u"DisplayFormat");
    if (!format || format->IsNull()) return;
    ComPtr<IFieldDateTimeData> data;
    CHECK_THROW(SUCCEEDED(field.GetDateTimeData(data)), Exception, u"Unable to get field datetime data");
    data->put_DisplayFormat(format->GetInt());
}

void ReadDefinition(const char* trace_function, const Json::Value& element, Field& field) {
    field.m_title = OptionalText(element, u"Title");
    field.m_description = OptionalText(element, u"Description");
    field.m_default_value = OptionalText(element, u"DefaultValue");
    ReadChoices(element, field);
    if (field.m_kind == field_date_time) ReadDisplayFormat(trace_function, element, field);
    const Json::Value* length = Json::Member(&element, u"MaxLength");
    if (field.m_kind == field_text && length && length->IsUint())
        field.m_max_length = static_cast<int32_t>(length->GetUint());
}

// The elements of a collection's answer, null when there are none.
const Json::Value* ElementsOf(const FieldsSource& source, const Json::Document& document) {
    return source.is_verbose ? Json::ArrayMember(Json::ObjectMember(&document.Root(), u"d"), u"results")
                             : Json::ArrayMember(&document.Root(), u"value");
}

// Appends the column that an element defines, or notes that it can't be shown.
void AddField(const char* trace_function, const FieldsSource& source, const Json::Value& element,
              FieldsData& fields) {
    auto field = std::make_shared<Field>();
    field->m_name =
        std::u16string(element[u"StaticName"].GetString(), element[u"StaticName"].GetStringLength());
    field->m_kind = element[u"FieldTypeKind"].GetUint();
    field->m_required = element[u"Required"].GetBool();
    if (IsSupportedFieldKind(field->m_kind)) {
        ReadDefinition(trace_function, element, *field);
        fields.fields.push_back(std::move(field));
    } else if (field->m_required) {
        LOG_LINE(Log::warning, u"File '%s' - ignoring REQUIRED field '%s' of unsupported type %u",
                 MaskForLog(source.path), MaskForLog(field->m_name), field->m_kind);
        fields.has_unsupported_required = true;
    } else {
        LOG_LINE(Log::verbose, u"File '%s' - ignoring field '%s' of unsupported type %u",
                 MaskForLog(source.path), MaskForLog(field->m_name), field->m_kind);
    }
}

FieldsData LoadDefinitions(const char* trace_function, const FieldsSource& source) {
    Json::Document document;
    const Http::Response rsp = AskForJson(source.http, source.forms, Address(source, kFieldsQuery),
                                          source.accept, nullptr, /*check_status=*/false, document);
    const uint32_t status = rsp.GetStatus();
    if (status == kServerError && IsWithoutListItem(document)) THROW_TRACED(HResultException, E_NOTIMPL);
    CHECK_THROW_TEXT(200 <= status && status < 400, u"200 <= rsp.GetHttpCode() && rsp.GetHttpCode() < 400",
                     Http::HttpException, rsp);
    const Json::Value* elements = ElementsOf(source, document);
    FieldsData fields;
    if (!elements || !elements->IsArray()) return fields;
    for (const Json::Value& element : elements->GetArray()) AddField(trace_function, source, element, fields);
    return fields;
}

// False for a text that is no date.
bool ReadDateValue(const Json::Value& value, Field& field) {
    SYSTEMTIME time{};
    ComPtr<IFieldDateTimeData> data;
    if (FAILED(ParseDateTimeIso8601(std::u16string(Json::Text(&value)), &time))) return false;
    if (FAILED(field.GetDateTimeData(data))) return false;
    data->put_DateTime(time);
    return true;
}

void ReadNumberValue(const Json::Value& value, Field& field) {
    if (value.IsDouble()) {
        VARIANT& number = field.m_value.get();
        number.vt = VT_R8;
        number.dblVal = value.GetDouble();
    } else if (value.IsInt()) {
        field.m_value = Variant(LONG{value.GetInt()});
    } else if (value.IsInt64()) {
        field.m_value = Variant(LONGLONG{value.GetInt64()});
    }
}

// Takes a column's value; one of another type leaves it empty. False when the column can't be kept.
bool ReadValue(const Json::Value& value, Field& field) {
    switch (field.m_kind) {
        case field_date_time:
            return !value.IsString() || ReadDateValue(value, field);
        case field_boolean:
            if (value.IsBool()) field.m_value = Variant(value.GetBool());
            return true;
        case field_number:
            ReadNumberValue(value, field);
            return true;
        default:
            if (value.IsString()) field.m_value = Variant(Json::Text(&value));
            return true;
    }
}

// The members of an item that the server may have told in several answers.
using Items = std::vector<const Json::Value*>;

const Json::Value* FindValue(const Items& items, const Field& field) {
    for (const Json::Value* item : items) {
        if (const Json::Value* value = Json::Member(item, field.m_name)) return value;
        if (field.m_entity_name.empty()) continue;
        if (const Json::Value* value = Json::Member(item, field.m_entity_name)) return value;
    }
    return nullptr;
}

void ReadValues(const char* trace_function, const FieldsSource& source, const Items& items,
                FieldsData& fields) {
    std::erase_if(fields.fields, [&](const std::shared_ptr<Field>& field) {
        const Json::Value* value = FindValue(items, *field);
        if (value && ReadValue(*value, *field)) return false;
        LOG_LINE(Log::warning, u"File '%s' ListItemAllFields has no field '%s'", MaskForLog(source.path),
                 MaskForLog(field->m_name));
        if (field->m_required) fields.has_unsupported_required = true;
        return true;
    });
}

std::u16string JoinNames(const FieldsData& fields) {
    std::vector<std::u16string> names;
    for (const auto& field : fields.fields) names.push_back(field->m_name);
    return JoinStrings(names, u',');
}

// The id in a list item's answer as decimal text, empty when there is none.
std::u16string ReadListItemId(const char* trace_function, const FieldsSource& source,
                              const Json::Value* item) {
    const Json::Value* id = Json::Member(item, u"ID");
    if (id && id->IsUint()) return Widen(std::to_string(id->GetUint()));
    LOG_LINE(Log::error, u"File '%s' ListItemAllFields has no uint field 'ID'", MaskForLog(source.path));
    return {};
}

// Learns the names under which the server takes columns in place of "_Name" and "0Name".
void LoadEntityNames(const FieldsSource& source, const FieldsData& fields) {
    Json::Document document;
    AskForJson(source.http, source.forms, Address(source, kNamesQuery), source.accept, nullptr,
               /*check_status=*/true, document);
    const Json::Value* elements = ElementsOf(source, document);
    if (!elements || !elements->IsArray()) return;
    for (const Json::Value& element : elements->GetArray()) {
        const std::u16string name = OptionalText(element, u"StaticName");
        for (const auto& field : fields.fields)
            if (field->m_name == name) field->m_entity_name = OptionalText(element, u"EntityPropertyName");
    }
}

// Lists of the names that the server takes, each short enough for an address.
std::vector<std::u16string> JoinEntityNames(const FieldsData& fields) {
    std::vector<std::u16string> lists(1);
    for (const auto& field : fields.fields) {
        const std::u16string& name = field->m_entity_name.empty() ? field->m_name : field->m_entity_name;
        if (!lists.back().empty() && lists.back().size() + name.size() >= kMostNames) lists.emplace_back();
        if (!lists.back().empty()) lists.back() += u',';
        lists.back() += name;
    }
    return lists;
}

// Asks for the values of some columns; gives the status.
Http::Response AskForValues(const FieldsSource& source, const std::u16string& names, bool check_status,
                            Json::Document& out_answer) {
    return AskForJson(source.http, source.forms, Address(source, u"/ListItemAllFields?$select=ID," + names),
                      source.accept, u"If-Match:*", check_status, out_answer);
}

// Asks for all columns at once. HttpException for a status that isn't a refusal of the address.
uint32_t TryAllValues(const char* trace_function, const FieldsSource& source, const FieldsData& fields,
                      Json::Document& out_answer) {
    try {
        const Http::Response response =
            AskForValues(source, JoinNames(fields), /*check_status=*/false, out_answer);
        const uint32_t status = response.GetStatus();
        if (!MayRefuseAddress(status))
            CHECK_THROW(200 <= status && status < 400, Http::HttpException, response);
        return status;
    } catch (const ApiException& failure) {
        // The address is longer than the internet layer tells one.
        if (failure.code != ERROR_INSUFFICIENT_BUFFER) throw;
        return kTooLongAddress;
    }
}

// The answers that have the values of all columns: one, or several where the server refused that.
// docs/compatibility.md: Columns under the server's own names
std::vector<std::unique_ptr<Json::Document>> AskForAllValues(const char* trace_function,
                                                             const FieldsSource& source,
                                                             const FieldsData& fields) {
    std::vector<std::unique_ptr<Json::Document>> answers;
    answers.push_back(std::make_unique<Json::Document>());
    const uint32_t status = TryAllValues(trace_function, source, fields, *answers.front());
    if (!MayRefuseAddress(status)) return answers;
    LOG_LINE(Log::warning, u"The server refused the columns of '%s' (HTTP %u), asking under its own names",
             MaskForLog(source.path), status);
    answers.clear();
    LoadEntityNames(source, fields);
    for (const std::u16string& names : JoinEntityNames(fields)) {
        answers.push_back(std::make_unique<Json::Document>());
        AskForValues(source, names, /*check_status=*/true, *answers.back());
    }
    return answers;
}

// Fills in the values of the defined columns, and the list item's id when it isn't known yet.
void LoadValues(const char* trace_function, const FieldsSource& source, FieldsData& fields,
                std::u16string& list_item_id) {
    LOG_LINE(Log::verbose, u"File '%s' should have %llu fields: %s", MaskForLog(source.path),
             static_cast<uint64_t>(fields.fields.size()), MaskForLog(JoinNames(fields)));
    const auto answers = AskForAllValues(trace_function, source, fields);
    Items items;
    for (const auto& answer : answers)
        items.push_back(source.is_verbose ? Json::ObjectMember(&answer->Root(), u"d") : &answer->Root());
    ReadValues(trace_function, source, items, fields);
    if (list_item_id.empty()) list_item_id = ReadListItemId(trace_function, source, items.front());
}

// Whether the server wants one of the columns under another name.
bool HasEntityNames(const FieldsData& fields) {
    return std::ranges::any_of(fields.fields, [](const std::shared_ptr<Field>& field) {
        return !field->m_entity_name.empty() && field->m_entity_name != field->m_name;
    });
}

}  // namespace

FieldsData DocumentFields::Load(const char* trace_function, const FieldsSource& source) {
    FieldsData fields = LoadDefinitions(trace_function, source);
    if (fields.fields.empty()) {
        LOG_LINE(Log::verbose, u"No fields found for file '%s'", MaskForLog(source.path));
    } else {
        LoadValues(trace_function, source, fields, m_list_item_id);
    }
    TRACE_EXIT(static_cast<uint64_t>(fields.fields.size()));
    return fields;
}

bool DocumentFields::Save(const char* trace_function, const FieldsSource& source,
                          const DigestSource& get_digest) const {
    if (m_fields_data.fields.empty()) TRACE_RETURN(true);
    std::u16string digest = get_digest(u"");
    if (!HasDigest(trace_function, digest)) return false;
    const auto renew = [&] {
        digest = get_digest(digest);
        return !digest.empty();
    };
    const auto send_as = [&](bool by_entity_name) {
        const std::string body = SerializeFields(m_fields_data.fields, by_entity_name);
        return SendChange(
            source.forms, Address(source, u"/ListItemAllFields/ParentList/Items(" + m_list_item_id + u")"),
            [&](const std::u16string& address) {
                const std::u16string headers =
                    u"X-HTTP-Method:MERGE\nIF-MATCH:*\nAccept:application/json;odata=nometadata\n"
                    u"Content-type:application/json\nX-RequestDigest:" +
                    digest;
                return source.http.SendRequest(u"POST", address, source.accept, headers.c_str(), body.data(),
                                               static_cast<ptrdiff_t>(body.size()), /*check_status=*/false);
            },
            renew);
    };
    Http::Response response = send_as(/*by_entity_name=*/false);
    if (response.GetStatus() == kBadRequest && HasEntityNames(m_fields_data)) {
        LOG_LINE(Log::warning, u"The server refused the columns of '%s', saving under its own names",
                 MaskForLog(source.path));
        response = send_as(/*by_entity_name=*/true);
    }
    const uint32_t status = response.GetStatus();
    CHECK_THROW(200 <= status && status < 400, Http::HttpException, response);
    TRACE_RETURN(true);
}

}  // namespace SharePoint
