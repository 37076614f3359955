// Folders with more entries than a server lists at once, page by page.
#include "base/url.h"
#include "sharepoint/reading.h"
#include "sharepoint/rest/protocol.h"
#include "sharepoint/rest/web.h"

namespace SharePointRestAPI {

namespace {

using Objects = std::vector<std::shared_ptr<SharePoint::Object>>;

constexpr int kMostPages = 2000;  // of 5,000 rows; the largest library has 30 million items

// The part of `path` that is a library of the web: the first folder below it.
std::u16string LibraryOf(const std::u16string& web, const std::u16string& path) {
    const size_t begin = web.empty() ? 0 : web.size() + 1;
    return path.substr(0, path.find(u'/', begin));
}

std::u16string TextOf(const Json::Value& row, const char16_t* key) {
    return std::u16string(Json::Text(Json::Member(&row, key)));
}

uint64_t TimeOf(const Json::Value& row, const char16_t* key) {
    return SharePoint2010::Utility::ParseDateTimeIso8601(TextOf(row, key), Log::warning);
}

}  // namespace

std::shared_ptr<SharePoint::Object> Web::ParseRow(const Json::Value& row) {
    SharePoint::Information information;
    const std::u16string path = TextOf(row, u"FileRef");
    if (path.size() < 2) return nullptr;
    information.m_path = path.substr(1);
    information.m_name = TextOf(row, u"FileLeafRef");
    if (information.m_name.empty()) information.m_name = SharePoint::LastPathPart(information.m_path);
    information.m_created_time = TimeOf(row, u"Created.");
    information.m_modified_time = TimeOf(row, u"Modified.");
    const bool is_folder = TextOf(row, u"FSObjType") == u"1";
    const Json::Value* holder = Json::ArrayMember(&row, u"CheckoutUser");
    if (!is_folder) {
        information.m_size = Json::Unsigned(Json::Member(&row, u"File_x0020_Size")).value_or(0);
        if (holder && holder->IsArray() && !holder->Empty())
            information.m_checkout_user = FindCheckOutUser(information.m_path);
    }
    return MakeObject(std::move(information), is_folder);
}

// docs/compatibility.md: A folder beyond the threshold is listed page by page
std::u16string Web::ReadPages(const std::u16string& path, Objects& out_objects) {
    TRACE_NAME("SharePointRestAPI::Web::Enumerate");
    LOG_LINE(Log::warning, u"'%s' has more entries than the server lists at once; it is listed in pages",
             MaskForLog(path));
    std::u16string digest = GetDigest();
    const std::u16string address = PagesAddress(EncodedPath(), LibraryOf(m_information.m_path, path));
    Objects files;
    std::u16string paging;
    for (int page = 0; page < kMostPages; ++page) {
        const std::string body = PageBody(path, paging);
        const Http::Response response =
            SendChange(u"POST", address, digest, {u"Content-type:application/json\n", &body});
        Json::Document document;
        SharePoint2010::Utility::ReadJson(document, response);
        const Json::Value* rows = Json::ArrayMember(&document.Root(), u"Row");
        if (!rows) {
            out_objects.clear();
            return DescribeRefusal(response, document.Root());
        }
        for (const Json::Value& row : rows->GetArray()) {
            auto object = ParseRow(row);
            if (object) (object->AsFolder() ? out_objects : files).push_back(std::move(object));
        }
        const std::u16string next = TextOf(document.Root(), u"NextHref");
        if (next.empty()) break;
        CHECK_THROW_TEXT(next != paging, u"NextHref", Exception, u"The server gives the same page again");
        paging = next;
    }
    out_objects.insert(out_objects.end(), files.begin(), files.end());
    return {};
}

}  // namespace SharePointRestAPI
