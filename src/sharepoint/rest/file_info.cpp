#include "sharepoint/rest/file_info.h"

#include <charconv>

#include "sharepoint/reading.h"

namespace SharePointRestAPI {

namespace {

constexpr int kNotCheckedOut = 2;

// Throws Exception for text that is no hexadecimal number of 32 bits.
uint32_t ParseHexadecimal(std::u16string_view text) {
    TRACE_NAME("SharePointRestAPI::ParseRestFileInfo");
    while (text.starts_with(u' ')) text.remove_prefix(1);
    if (text.starts_with(u"0x") || text.starts_with(u"0X")) text.remove_prefix(2);
    std::string digits;
    for (const char16_t c : text) {
        if (c > u'f') break;
        digits += static_cast<char>(c);
    }
    uint32_t number = 0;
    const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
    CHECK_THROW_TEXT(end.ec == std::errc(), u"vti_x005f_winfileattribs", Exception,
                     u"Invalid hexadecimal number");
    return number;
}

bool IsCheckedOut(const Json::Value& json) {
    const Json::Value* type = Json::Member(&json, u"CheckOutType");
    return type && type->IsInt() && type->GetInt() != kNotCheckedOut;
}

void ReadName(const Json::Value& json, SharePoint::Information& information) {
    const std::u16string_view name = Json::Text(Json::Member(&json, u"Name"));
    information.m_name = name.empty() ? SharePoint::LastPathPart(information.m_path) : name;
}

void ReadAttributes(const Json::Value& json, SharePoint::Information& information) {
    const Json::Value* attributes =
        Json::Member(Json::ObjectMember(&json, u"Properties"), u"vti_x005f_winfileattribs");
    information.m_attributes =
        attributes && attributes->IsString() ? ParseHexadecimal(Json::Text(attributes)) : 0;
}

// "{id},version,content version": what lies between the commas changes with a check-out, too.
std::u16string ContentOf(std::u16string_view content_tag) {
    const size_t first = content_tag.find(u',');
    const size_t last = content_tag.rfind(u',');
    if (first == last) return {};
    return std::u16string(content_tag.substr(0, first)) + std::u16string(content_tag.substr(last));
}

void ReadTags(const Json::Value& json, SharePoint::Information& information) {
    information.m_tags.m_content = ContentOf(Json::Text(Json::Member(&json, u"ContentTag")));
    information.m_tags.m_entity = Json::Text(Json::Member(&json, u"ETag"));
}

}  // namespace

uint64_t ParseRestDateTime(const Json::Value& value, const char16_t* key) {
    TRACE_NAME("SharePointRestAPI::ParseRestDateTime");
    const std::u16string_view text = Json::Text(Json::Member(&value, key));
    if (!text.empty()) return SharePoint2010::Utility::ParseDateTimeIso8601(text, Log::warning);
    LOG_LINE(Log::warning, u"%s is null or empty", key);
    return 0;
}

bool ParseRestFileInfo(const Json::Value& json, SharePoint::Information& out_information, bool& out_is_folder,
                       const CheckOutUserFinder& find_user) {
    TRACE_ENTRY("SharePointRestAPI::ParseRestFileInfo");
    try {
        out_is_folder =
            Json::Text(Json::Member(Json::ObjectMember(&json, u"__metadata"), u"type")) == u"SP.Folder";
        std::u16string_view path = Json::Text(Json::Member(&json, u"ServerRelativeUrl"));
        if (path.empty()) {
            LOG_LINE(Log::error, u"ServerRelativeUrl is null or empty");
            return false;
        }
        path.remove_prefix(1);
        if (path.ends_with(u'/')) path.remove_suffix(1);
        out_information.m_path = path;
        ReadName(json, out_information);
        out_information.m_size = 0;
        out_information.m_checkout_user.clear();
        if (!out_is_folder) {
            out_information.m_size = Json::Unsigned(Json::Member(&json, u"Length")).value_or(0);
            if (IsCheckedOut(json)) out_information.m_checkout_user = find_user(out_information.m_path);
            ReadTags(json, out_information);
            out_information.m_version = Json::Text(Json::Member(&json, u"UIVersionLabel"));
            out_information.m_last_author =
                Json::Text(Json::Member(Json::ObjectMember(&json, u"Properties"), u"vti_x005f_modifiedby"));
        }
        out_information.m_created_time = ParseRestDateTime(json, u"TimeCreated");
        out_information.m_modified_time = ParseRestDateTime(json, u"TimeLastModified");
        ReadAttributes(json, out_information);
    } catch (const Exception& failure) {
        LOG_LINE(Log::error, u"Failed to parse REST file information JSON: %s", failure.message);
        return false;
    } catch (...) {
        return false;
    }
    TRACE_EXIT(u"true");
    return true;
}

}  // namespace SharePointRestAPI
