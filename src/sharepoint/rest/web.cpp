#include "sharepoint/rest/web.h"

#include "base/text/encoding.h"
#include "base/url.h"
#include "http/busy.h"
#include "sharepoint/places.h"
#include "sharepoint/reading.h"
#include "sharepoint/rest/file.h"
#include "sharepoint/rest/file_info.h"
#include "sharepoint/rest/folder.h"
#include "sharepoint/rest/protocol.h"

namespace SharePointRestAPI {

namespace {

using SharePoint::IsSameOrParent;
using SharePoint2010::Utility::ReadJson;

// docs/compatibility.md: The right to view counts as the right to edit
constexpr uint64_t kEditRights = 3;  // viewing and adding items
constexpr uint32_t kServerError = 500;

Http::Response Get(Http::Session& http, const std::u16string& address) {
    return http.SendRequest(u"GET", address, kAcceptVerbose, nullptr, nullptr, 0, /*check_status=*/false);
}

}  // namespace

std::u16string Web::DescribeRefusal(const Http::Response& response, const Json::Value& answer) {
    const Json::Value* error = Json::ObjectMember(&answer, u"error");
    if (!error) error = Json::ObjectMember(&answer, u"odata.error");
    const Json::Value* message = Json::ObjectMember(error, u"message");
    const std::u16string_view sentence = Json::Text(Json::Member(message, u"value"));
    if (!sentence.empty()) return std::u16string(sentence);
    const uint32_t status = response.GetStatus();
    return status >= 200 && status <= 399 ? SharePoint::kNoListing : Http::HttpException(response).message;
}

std::shared_ptr<Web> Web::Create(std::shared_ptr<Http::Session> http, const std::u16string& object_url) {
    TRACE_ENTRY("SharePointRestAPI::Web::Create");
    return SharePoint::CreateWeb<Web>(trace_function, std::move(http), object_url);
}

bool Web::GetWebPath(Http::Session& http, const std::u16string& object_path, std::u16string& out_web_path) {
    TRACE_ENTRY("SharePointRestAPI::Web::GetWebPath");
    const std::u16string server_url = http.GetUri();
    pugi::xml_document document;
    const Http::Response response = http.SendRequest(
        u"GET",
        u"/_api/SP.Web.GetWebUrlFromPageUrl(@v)?@v='" + server_url + u"/" + UrlEncode(object_path) + u"'",
        kAcceptXml, nullptr, nullptr, 0, /*check_status=*/false);
    if (const uint32_t status = response.GetStatus(); Http::IsAnsweredByNobody(status))
        THROW_TRACED(HResultException, Http::StatusToResult(status));
    SharePoint2010::Utility::ReadResponseXml(document, response);
    const std::u16string web_url = FromUtf8(document.child("d:GetWebUrlFromPageUrl").text().get());
    const CompareUrlsResult result = CompareUrls(server_url, web_url, &out_web_path, false);
    if (!IsSameOrParent(result)) {
        LOG_LINE(Log::error,
                 u"Unexpected result %u of comparison server URL '%s' to "
                 u"/entry/content/m:properties/d:Url('%s')='%s'",
                 result, MaskForLog(server_url), MaskForLog(server_url + u"/" + object_path),
                 MaskForLog(web_url));
        return false;
    }
    TRACE_EXIT(u"true");
    return true;
}

std::u16string Web::EncodedPath() const {
    return UrlEncode(m_information.m_path);
}

const SharePoint::Information& Web::UpdateInformation() {
    TRACE_ENTRY("SharePointRestAPI::Web::UpdateInformation");
    const std::u16string path = m_information.m_path;
    UpdateInformation(path, &m_information, nullptr);
    SharePoint::NameWebByItsPath(m_information);
    TRACE_EXIT(u"");
    return m_information;
}

Http::Response Web::AskForItem(const std::u16string& address, Json::Document& out_answer) {
    return SharePoint::AskForJson(*m_http, m_forms, address, kAcceptVerbose, nullptr, /*check_status=*/false,
                                  out_answer);
}

Http::Response Web::SendChange(const char16_t* verb, const std::u16string& address, std::u16string& digest,
                               const SharePoint::ChangeBody& body) {
    const auto send = [&](const std::u16string& asked) {
        const std::u16string lines = body.headers + DigestHeader(digest);
        return m_http->SendRequest(verb, asked, kAcceptVerbose, lines.c_str(),
                                   body.bytes ? body.bytes->data() : nullptr,
                                   body.bytes ? static_cast<ptrdiff_t>(body.bytes->size()) : 0, false);
    };
    const auto renew = [&] {
        m_digest.Drop(digest);
        digest = GetDigest();
        return !digest.empty();
    };
    return SharePoint::SendChange(m_forms, address, send, renew);
}

bool Web::ReadItem(const std::u16string& address, SharePoint::Information* out_information,
                   bool* out_is_folder) {
    TRACE_NAME("SharePointRestAPI::Web::UpdateInformation");
    Json::Document document;
    AskForItem(address, document);
    const Json::Value* item = Json::ObjectMember(&document.Root(), u"d");
    SharePoint::Information information;
    bool is_folder = false;
    if (!item || !ParseItem(*item, information, is_folder)) return false;
    LOG_LINE(Log::verbose, u"Web::UpdateInformation %s", DescribeForLog(information, is_folder));
    if (out_information) *out_information = std::move(information);
    if (out_is_folder) *out_is_folder = is_folder;
    return true;
}

// docs/compatibility.md: A refused look-up reads as not found
bool Web::UpdateInformation(const std::u16string& path, SharePoint::Information* out_information,
                            bool* out_is_folder) {
    TRACE_ENTRY("SharePointRestAPI::Web::UpdateInformation");
    LOG_LINE(Log::verbose, u"Web::UpdateInformation '%s'", MaskForLog(path));
    if (const auto told = m_item.Find(path)) {
        if (out_information) *out_information = told->information;
        if (out_is_folder) *out_is_folder = told->is_folder;
        TRACE_EXIT(u"true, as told in this operation");
        return true;
    }
    const int64_t asked_at = OperationScope::Now();
    const std::u16string web = EncodedPath();
    SharePoint::Information information;
    bool is_folder = false;
    // docs/compatibility.md: A folder is asked for before a file
    const bool found = ReadItem(FolderAddress(web, path) + u"')", &information, &is_folder) ||
                       ReadItem(FileAddress(web, path) + u"')", &information, &is_folder);
    if (found) {
        information.m_asked_at = asked_at;
        m_item.Keep(path, {information, is_folder}, asked_at);
        if (out_information) *out_information = std::move(information);
        if (out_is_folder) *out_is_folder = is_folder;
    }
    TRACE_EXIT(found ? u"true" : u"false");
    return found;
}

std::vector<std::shared_ptr<SharePoint::Object>> Web::Enumerate(std::u16string* out_unread) {
    return Enumerate(m_information.m_path, out_unread);
}

// docs/compatibility.md: A listing that can't be read is empty
std::vector<std::shared_ptr<SharePoint::Object>> Web::Enumerate(const std::u16string& path,
                                                                std::u16string* out_unread) {
    TRACE_ENTRY("SharePointRestAPI::Web::Enumerate");
    std::vector<std::shared_ptr<SharePoint::Object>> objects;
    Json::Document document;
    const Http::Response response =
        AskForItem(FolderAddress(EncodedPath(), path) +
                       u"')?$expand=Folders, Folders/Properties, Files, Files/Properties",
                   document);
    if (response.GetStatus() == kServerError && ErrorCode(document.Root()) == kOverThreshold) {
        const std::u16string unread = ReadPages(path, objects);
        if (out_unread) *out_unread = unread;
        TRACE_EXIT(static_cast<uint64_t>(objects.size()));
        return objects;
    }
    const Json::Value* folder = Json::ObjectMember(&document.Root(), u"d");
    if (out_unread) *out_unread = folder ? std::u16string() : DescribeRefusal(response, document.Root());
    const auto append = [&](const char16_t* group, bool of_folders) {
        const Json::Value* results = Json::ArrayMember(Json::ObjectMember(folder, group), u"results");
        if (!results) return;
        objects.reserve(objects.size() + results->Size());
        for (const Json::Value& item : results->GetArray()) {
            SharePoint::Information information;
            bool is_folder = false;
            if (!ParseItem(item, information, is_folder) || is_folder != of_folders) continue;
            objects.push_back(MakeObject(std::move(information), is_folder));
        }
    };
    append(u"Folders", true);
    append(u"Files", false);
    TRACE_EXIT(static_cast<uint64_t>(objects.size()));
    return objects;
}

std::shared_ptr<SharePoint::Object> Web::BindObject(const std::u16string& url, BindObjectType type) {
    TRACE_ENTRY("SharePointRestAPI::Web::BindObject");
    return SharePoint::BindObject(trace_function, *this, url, type);
}

std::shared_ptr<SharePoint::Object> Web::MakeObject(SharePoint::Information information, bool is_folder) {
    if (is_folder)
        return std::make_shared<SharePointRestAPI::Folder>(std::move(information), shared_from_this());
    return std::make_shared<SharePointRestAPI::File>(std::move(information), shared_from_this());
}

bool Web::ReadInformation(const std::u16string& path, SharePoint::Information& out_information,
                          bool& out_is_folder) {
    TRACE_NAME("SharePointRestAPI::Web::BindObject");
    if (UpdateInformation(path, &out_information, &out_is_folder)) return true;
    LOG_LINE(Log::warning, u"Object '%s' is not found on the server", MaskForLog(path));
    return false;
}

bool Web::ReadFileLink(const std::u16string& url, SharePoint::Information& out_information,
                       bool& out_is_folder) {
    TRACE_NAME("SharePointRestAPI::Web::BindObject");
    Json::Document answer;
    if (!SharePoint::AskForFileLink(trace_function, *m_http, url, kAcceptVerbose, answer)) return false;
    const Json::Value* item = Json::ObjectMember(&answer.Root(), u"d");
    return item && ParseItem(*item, out_information, out_is_folder);
}

bool Web::ParseItem(const Json::Value& json, SharePoint::Information& out_information, bool& out_is_folder) {
    return ParseRestFileInfo(json, out_information, out_is_folder,
                             [this](const std::u16string& path) { return FindCheckOutUser(path); });
}

std::u16string Web::FindCheckOutUser(const std::u16string& path) {
    TRACE_ENTRY("SharePointRestAPI::Web::FindCheckOutUser");
    // This address has single apostrophes; a server that refuses them gets the usual, doubled form.
    // docs/compatibility.md: The check-out user is asked with a single apostrophe
    std::optional<std::u16string> user = AskForCheckOutUser(UrlEncode(path));
    if (!user && path.find(u'\'') != std::u16string::npos) user = AskForCheckOutUser(UrlEncodeQuoted(path));
    TRACE_EXIT(u"");
    return user.value_or(u"");
}

std::optional<std::u16string> Web::AskForCheckOutUser(const std::u16string& encoded_path) {
    const std::u16string address = EncodedPath() + u"/_api/web/GetFileByServerRelativePath(decodedurl='/" +
                                   encoded_path + u"')/CheckedOutByUser";
    Json::Document document;
    AskForItem(address, document);
    const Json::Value* answer = Json::ObjectMember(&document.Root(), u"d");
    if (!answer) return std::nullopt;
    return std::u16string(Json::Text(Json::Member(answer, u"LoginName")));
}

std::u16string Web::GetCurrentUser() {
    TRACE_ENTRY("SharePointRestAPI::Web::GetCurrentUser");
    Json::Document document;
    ReadJson(document, Get(*m_http, EncodedPath() + u"/_api/web/currentUser"));
    std::u16string user(Json::Text(Json::Member(Json::ObjectMember(&document.Root(), u"d"), u"LoginName")));
    LOG_LINE(Log::verbose, u"Web::GetCurrentUser : '%s'", MaskForLog(user));
    TRACE_EXIT(u"");
    return user;
}

bool Web::CanEdit(const std::u16string& path) {
    TRACE_ENTRY("SharePointRestAPI::Web::CanEdit");
    LOG_LINE(Log::verbose, u"Web::UpdateInformation '%s'", MaskForLog(path));
    if (const auto told = m_can_edit.Find(path)) {
        TRACE_EXIT(u"as told in this operation");
        return *told;
    }
    const int64_t asked_at = OperationScope::Now();
    Json::Document document;
    AskForItem(FileAddress(EncodedPath(), path) +
                   u"')?$select=ListItemAllFields&$expand=ListItemAllFields/EffectiveBasePermissions",
               document);
    bool can_edit = false;
    if (const Json::Value* item = Json::ObjectMember(&document.Root(), u"d")) {
        const Json::Value* rights =
            Json::ObjectMember(Json::ObjectMember(item, u"ListItemAllFields"), u"EffectiveBasePermissions");
        can_edit = (Json::Unsigned(Json::Member(rights, u"Low")).value_or(0) & kEditRights) != 0;
    } else {
        can_edit = ErrorCode(document.Root()) == kFileDoesNotExist;
    }
    m_can_edit.Keep(path, can_edit, asked_at);
    TRACE_EXIT(can_edit ? u"true" : u"false");
    return can_edit;
}

std::u16string Web::GetDigest() {
    TRACE_ENTRY("SharePointRestAPI::Web::GetDigest");
    return m_digest.Get(trace_function, *m_http, m_information.m_path, kAcceptVerbose, /*is_verbose=*/true);
}

}  // namespace SharePointRestAPI
