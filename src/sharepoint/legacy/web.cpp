#include "sharepoint/legacy/web.h"

#include <charconv>

#include "base/text/encoding.h"
#include "base/url.h"
#include "http/busy.h"
#include "sharepoint/legacy/file.h"
#include "sharepoint/legacy/folder.h"
#include "sharepoint/legacy/front_page.h"
#include "sharepoint/legacy/propfind.h"
#include "sharepoint/legacy/protocol.h"
#include "sharepoint/legacy/rest_items.h"
#include "sharepoint/places.h"
#include "sharepoint/reading.h"

namespace SharePoint2013 {

namespace {

using SharePoint2010::Utility::CallSoap;

constexpr uint32_t kNotFound = 404;
constexpr std::string_view kPropfindBody =
    R"(<?xml version="1.0" ?><D:propfind xmlns:D="DAV:"><D:allprop/></D:propfind>)";

std::u16string AttributeOf(const pugi::xml_node& node, const char* name) {
    return FromUtf8(node.attribute(name).value());
}

// A path that plainly lies below needs no full comparison; most items of a listing have such a path.
bool IsSamePath(const std::u16string& path, const std::u16string& other) {
    const bool is_below = other.size() > path.size() + 1 && other[path.size()] == u'/' &&
                          other[path.size() + 1] != u'.' && other.starts_with(path);
    return !is_below && CompareRelativeUrls(path, other) == CompareUrlsResult::equal;
}

pugi::xml_node UserOf(const pugi::xml_node& result) {
    return result.child("GetUserInfo").child("User");
}

}  // namespace

std::shared_ptr<Web> Web::Create(std::shared_ptr<Http::Session> http, const std::u16string& object_url) {
    TRACE_ENTRY("SharePoint2013::Web::Create");
    return SharePoint::CreateWeb<Web>(trace_function, std::move(http), object_url);
}

bool Web::IsCompatible(const std::shared_ptr<Http::Session>& http, const std::u16string& url) {
    TRACE_ENTRY("SharePoint2013::Web::IsCompatible");
    if (!http) TRACE_RETURN(false);
    const Http::Response response =
        http->SendRequest(u"HEAD", UrlEncode(url), kAcceptAny, nullptr, nullptr, 0, /*check_status=*/false);
    const std::vector<std::u16string> versions = response.GetHeaders(u"MicrosoftSharePointTeamServices");
    if (versions.empty()) TRACE_RETURN(false);
    LOG_LINE(Log::verbose, u"Server version response: %s", versions.front());
    const std::string text = ToUtf8(versions.front());
    int version = 0;
    std::from_chars(text.data(), text.data() + text.size(), version);
    TRACE_RETURN(version >= kOldestCompatibleVersion);
}

bool Web::GetWebPath(Http::Session& http, const std::u16string& object_path, std::u16string& out_web_path) {
    TRACE_ENTRY("SharePoint2013::Web::GetWebPath");
    const std::u16string server_url = http.GetUri();
    const std::u16string page_url = server_url + u"/" + UrlEncode(object_path);
    pugi::xml_document document;
    std::u16string web_url;
    try {
        web_url = FromUtf8(CallSoap(document, http, u"", u"Webs", u"WebUrlFromPageUrl",
                                    u"<pageUrl>" + page_url + u"</pageUrl>", u"")
                               .text()
                               .get());
    } catch (const Http::HttpException& failure) {
        LOG_LINE(Log::error, u"Webs.asmx/WebUrlFromPageUrl('%s') returned %d", MaskForLog(page_url),
                 failure.status);
        if (Http::IsAnsweredByNobody(failure.status))
            THROW_TRACED(HResultException, Http::StatusToResult(failure.status));
        return false;
    }
    const CompareUrlsResult result = CompareUrls(server_url, web_url, &out_web_path, false);
    // Some servers escape the address, as the page's was.
    if (!SharePoint::IsSameOrParent(CompareRelativeUrls(out_web_path, object_path))) {
        const std::u16string plain = FromUtf8(UrlDecode(ToUtf8(out_web_path)));
        if (SharePoint::IsSameOrParent(CompareRelativeUrls(plain, object_path))) out_web_path = plain;
    }
    if (!SharePoint::IsSameOrParent(result)) {
        LOG_LINE(
            Log::error,
            u"Unexpected result %u of comparison server URL '%s' to Webs.asmx/WebUrlFromPageUrl('%s')='%s'",
            result, MaskForLog(server_url), MaskForLog(page_url), MaskForLog(web_url));
        return false;
    }
    TRACE_RETURN(true);
}

std::u16string Web::EncodedPath() const {
    return UrlEncode(m_information.m_path);
}

const SharePoint::Information& Web::UpdateInformation() {
    TRACE_ENTRY("SharePoint2013::Web::UpdateInformation");
    LOG_LINE(Log::verbose, u"Current path '%s'", MaskForLog(m_information.m_path));
    const std::u16string path = m_information.m_path;
    Enumerate(path, false, &m_information);
    SharePoint::NameWebByItsPath(m_information);
    TRACE_EXIT(u"");
    return m_information;
}

std::shared_ptr<SharePoint::Object> Web::MakeObject(SharePoint::Information information, bool is_folder) {
    if (is_folder)
        return std::make_shared<SharePoint2013::Folder>(std::move(information), shared_from_this());
    return std::make_shared<SharePoint2013::File>(std::move(information), shared_from_this());
}

std::vector<std::shared_ptr<SharePoint::Object>> Web::Enumerate(std::u16string* out_unread) {
    return Enumerate(m_information.m_path, true, nullptr, out_unread);
}

std::vector<std::shared_ptr<SharePoint::Object>> Web::Enumerate(const std::u16string& path, bool get_children,
                                                                SharePoint::Information* out_information,
                                                                std::u16string* out_unread) {
    TRACE_ENTRY("SharePoint2013::Web::Enumerate");
    LOG_LINE(Log::verbose, u"path='%s', get_children=%i", MaskForLog(path), get_children);
    std::vector<std::shared_ptr<SharePoint::Object>> objects;
    if (const auto told = m_item.Find(path); told && !get_children) {
        if (out_information) *out_information = told->information;
        return objects;
    }
    const int64_t asked_at = OperationScope::Now();
    pugi::xml_document document;
    SendPropfind(document, path, get_children);
    const std::u16string server_url = m_http->GetUri();
    if (out_unread) *out_unread = document.child("D:multistatus") ? u"" : SharePoint::kNoListing;
    for (const pugi::xml_node response : document.child("D:multistatus").children("D:response")) {
        SharePoint::Information information;
        bool is_folder = false;
        if (!ParseWebDavPropfind(server_url, response, information, is_folder)) continue;
        const bool is_itself = IsSamePath(path, information.m_path);
        LOG_LINE(Log::verbose, is_itself ? u"Object %s" : u"Object child %s",
                 SharePoint::DescribeForLog(information, is_folder));
        if (is_itself) {
            information.m_asked_at = asked_at;
            m_item.Keep(path, {information, is_folder}, asked_at);
            if (out_information) *out_information = std::move(information);
        } else if (get_children) {
            objects.push_back(MakeObject(std::move(information), is_folder));
        }
    }
    TRACE_EXIT(static_cast<uint64_t>(objects.size()));
    return objects;
}

void Web::SendPropfind(pugi::xml_document& out_document, const std::u16string& path, bool get_children) {
    TRACE_ENTRY("SharePoint2013::Web::SendPropfind");
    const Http::Response response = m_http->SendRequest(
        u"PROPFIND", UrlEncode(path), kAcceptXml, get_children ? u"Depth: 1" : u"Depth: 0",
        kPropfindBody.data(), static_cast<ptrdiff_t>(kPropfindBody.size()), /*check_status=*/true);
    Utility::ReadXml(out_document, response);
    TRACE_EXIT(u"");
}

bool Web::ReadInformation(const std::u16string& path, SharePoint::Information& out_information,
                          bool& out_is_folder) {
    TRACE_NAME("SharePoint2013::Web::BindObject");
    if (const auto told = m_item.Find(path)) {
        out_information = told->information;
        out_is_folder = told->is_folder;
        return !out_information.m_name.empty();
    }
    const int64_t asked_at = OperationScope::Now();
    pugi::xml_document document;
    try {
        SendPropfind(document, path, false);
    } catch (const Http::HttpException& failure) {
        if (failure.status != kNotFound) throw;
        LOG_LINE(Log::warning, u"Object '%s' is not found on the server", MaskForLog(path));
        return false;
    }
    const pugi::xml_node response = document.child("D:multistatus").child("D:response");
    if (!response || !ParseWebDavPropfind(m_http->GetUri(), response, out_information, out_is_folder))
        return false;
    out_information.m_asked_at = asked_at;
    m_item.Keep(path, {out_information, out_is_folder}, asked_at);
    // Without properties there is no time to compare, and a save couldn't detect a newer version.
    return !out_information.m_name.empty();
}

std::shared_ptr<SharePoint::Object> Web::BindObject(const std::u16string& url, BindObjectType type) {
    TRACE_ENTRY("SharePoint2013::Web::BindObject");
    return SharePoint::BindObject(trace_function, *this, url, type);
}

bool Web::ReadFileLink(const std::u16string& url, SharePoint::Information& out_information,
                       bool& out_is_folder) {
    TRACE_NAME("SharePoint2013::Web::BindObject");
    Json::Document answer;
    out_is_folder = false;
    return SharePoint::AskForFileLink(trace_function, *m_http, url, kAcceptNoMetadata, answer) &&
           ParseRestFileInfo(answer.Root(), out_information);
}

std::u16string Web::GetCurrentUser() {
    TRACE_ENTRY("SharePoint2013::Web::GetCurrentUser");
    std::u16string user = GetCurrentUserSoap2010();
    if (user.empty()) user = FrontPage::GetCurrentUser(*m_http, m_information.m_path);
    TRACE_EXIT(u"");
    return user;
}

std::u16string Web::GetCurrentUserSoap2010() {
    TRACE_ENTRY("SharePoint2013::Web::GetCurrentUserSoap2010");
    pugi::xml_document document;
    std::u16string user;
    try {
        user = AttributeOf(UserOf(CallSoap(document, *m_http, EncodedPath(), u"UserGroup",
                                           u"GetCurrentUserInfo", u"", u"directory/")),
                           "LoginName");
    } catch (const Http::HttpException&) {
        LOG_LINE(Log::error, u"Failed to get UserGroup.asmx/GetCurrentUserInfo");
        return {};
    }
    if (user.empty()) {
        LOG_LINE(Log::error,
                 u"Current user is empty or not found in UserGroup.asmx/GetCurrentUserInfo XML:\n%s",
                 XmlForLog(document));
    } else {
        LOG_LINE(Log::verbose, u"got current user '%s'", MaskForLog(user));
    }
    TRACE_EXIT(u"");
    return user;
}

std::u16string Web::GetUserDisplayName(const std::u16string& login) {
    TRACE_ENTRY("SharePoint2013::Web::GetUserDisplayName");
    pugi::xml_document document;
    pugi::xml_node user;
    try {
        user = UserOf(CallSoap(document, *m_http, EncodedPath(), u"UserGroup", u"GetUserInfo",
                               u"<userLoginName>" + login + u"</userLoginName>", u"directory/"));
    } catch (const Http::HttpException&) {
        LOG_LINE(Log::error, u"Failed to get UserGroup.asmx/GetUserInfo");
    }
    const std::u16string name = AttributeOf(user, "Name");
    const std::u16string mail = AttributeOf(user, "Email");
    if (name.empty() && mail.empty()) {
        LOG_LINE(Log::verbose, u"Got empty user display name, constructing from login");
        return login.substr(login.rfind(u'|') + 1);
    }
    LOG_LINE(Log::verbose, u"Got user display name");
    TRACE_EXIT(u"");
    if (name.empty() || mail.empty()) return name + mail;
    return name + u" <" + mail + u">";
}

std::u16string Web::GetDigest2013() {
    TRACE_ENTRY("SharePoint2013::Web::GetDigest2013");
    return m_digest.Get(trace_function, *m_http, m_information.m_path, kAcceptNoMetadata,
                        /*is_verbose=*/false);
}

}  // namespace SharePoint2013
