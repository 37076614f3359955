#include "sharepoint/legacy/rest_items.h"

#include "base/log.h"
#include "sharepoint/reading.h"

namespace SharePoint2013 {

namespace {

uint64_t ReadTime(const Json::Value& json, const char16_t* key) {
    return SharePoint2010::Utility::ParseDateTimeIso8601(Json::Text(Json::Member(&json, key)), Log::warning);
}

}  // namespace

bool ParseRestFileInfo(const Json::Value& json, SharePoint::Information& out_information) {
    TRACE_ENTRY("SharePoint2013::ParseRestFileInfo");
    std::u16string_view path = Json::Text(Json::Member(&json, u"ServerRelativeUrl"));
    if (path.empty()) {
        LOG_LINE(Log::error, u"ServerRelativeUrl is null or empty");
        return false;
    }
    path.remove_prefix(1);
    out_information.m_path = path;
    const std::u16string_view name = Json::Text(Json::Member(&json, u"Name"));
    out_information.m_name = name.empty() ? SharePoint::LastPathPart(out_information.m_path) : name;
    out_information.m_size = Json::Unsigned(Json::Member(&json, u"Length")).value_or(0);
    out_information.m_created_time = ReadTime(json, u"TimeCreated");
    out_information.m_modified_time = ReadTime(json, u"TimeLastModified");
    out_information.m_checkout_user =
        Json::Text(Json::Member(Json::ObjectMember(&json, u"CheckedOutByUser"), u"LoginName"));
    TRACE_EXIT(u"true");
    return true;
}

}  // namespace SharePoint2013
