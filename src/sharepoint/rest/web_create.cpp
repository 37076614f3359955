// Making of files and folders. Any thread.
#include <algorithm>

#include "plugin/url.h"
#include "sharepoint/rest/protocol.h"
#include "sharepoint/rest/web.h"

namespace SharePointRestAPI {

namespace {

std::u16string DigestLine(const std::u16string& digest) {
    return u"X-RequestDigest:" + digest;
}

}  // namespace

// The path relative to the server of a URL that must lie below this web.
bool Web::FindPathInWeb(const std::u16string& url, std::u16string& out_path) const {
    TRACE_NAME("SharePointRestAPI::Web::CreateFile");
    const std::u16string server_url = m_http->GetUri();
    const CompareUrlsResult to_server = CompareUrls(server_url, url, &out_path, false);
    if (to_server != CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison server URL '%s' to given URL '%s'",
                 to_server, MaskForLog(server_url), MaskForLog(url));
        return false;
    }
    const CompareUrlsResult to_web = CompareRelativeUrls(m_information.m_path, out_path);
    if (to_web != CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison web path '%s' to the given path '%s'",
                 to_web, MaskForLog(m_information.m_path), MaskForLog(out_path));
        return false;
    }
    return true;
}

bool Web::IsFileKnownMissing(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::IsFileKnownMissing");
    static constexpr uint32_t kNotFound = 404;
    std::u16string relative;
    if (!FindPathInWeb(url, relative)) return false;
    const Http::Response answer = m_http->SendRequest(u"GET", FileAddress(EncodedPath(), relative) + u"')",
                                                      kAcceptVerbose, nullptr, nullptr, 0, false);
    const uint32_t status = answer.GetStatus();
    TRACE_EXIT(status);
    return status == kNotFound;
}

std::shared_ptr<SharePoint::Object> Web::CreateFile(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::CreateFile");
    std::u16string relative;
    if (!FindPathInWeb(url, relative)) return nullptr;
    const std::u16string parent = GetUrlParent(url);
    if (!parent.empty() && !CreateFolderNoBind(parent)) {
        LOG_LINE(Log::error, u"Failed to create parent folder for file '%s'", MaskForLog(url));
        return nullptr;
    }
    const std::u16string digest = GetDigest();
    if (digest.empty()) {
        LOG_LINE(Log::error, u"Failed to get Request Digest");
        return nullptr;
    }
    LOG_LINE(Log::verbose, u"Sending create file request to '%s'", MaskForLog(url));
    std::u16string folder_path;
    CompareUrls(m_http->GetUri(), parent, &folder_path, false);
    const std::u16string file_name(SharePoint::LastPathPart(relative));
    m_http->SendRequest(u"POST",
                        FolderAddress(EncodedPath(), folder_path) + u"')/Files/AddUsingPath(decodedurl='" +
                            UrlEncodeQuoted(file_name) + u"',  overwrite=true)",
                        kAcceptVerbose, DigestLine(digest).c_str(), nullptr, 0, /*check_status=*/true);
    TRACE_EXIT(u"");
    return BindObject(url, BindObjectType::file);
}

std::shared_ptr<SharePoint::Object> Web::CreateFolder(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::CreateFolder");
    std::u16string relative;
    if (!FindPathInWeb(url, relative)) return nullptr;
    if (!CreateFolderNoBind(url)) {
        LOG_LINE(Log::error, u"Failed to create parent folder for folder '%s'", MaskForLog(url));
        return nullptr;
    }
    TRACE_EXIT(u"");
    return BindObject(url, BindObjectType::folder);
}

std::shared_ptr<SharePoint::Object> Web::BindFolderQuietly(const std::u16string& path) {
    try {
        return BindObject(m_http->GetUri() + u"/" + path, BindObjectType::folder);
    } catch (...) {
        return nullptr;
    }
}

bool Web::CreateFolderNoBind(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::CreateFolderNoBind");
    const std::u16string server_url = m_http->GetUri();
    std::u16string relative;
    const CompareUrlsResult to_server = CompareUrls(server_url, url, &relative, false);
    if (to_server == CompareUrlsResult::equal) {
        LOG_LINE(Log::verbose, u"Folder is web - already exists '%s'", MaskForLog(url));
        return true;
    }
    if (to_server != CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison server URL '%s' to given URL '%s'",
                 to_server, MaskForLog(server_url), MaskForLog(url));
        return false;
    }
    if (relative.ends_with(u'/')) relative.pop_back();
    LOG_LINE(Log::verbose, u"Searhing lower existing folder for path '%s'", MaskForLog(relative));
    std::vector<std::u16string> missing;
    while (!BindFolderQuietly(relative)) {
        const size_t slash = relative.rfind(u'/');
        if (slash == std::u16string::npos) {
            LOG_LINE(Log::error, u"Failed to get parent path for '%s' during creation of folder '%s'",
                     MaskForLog(relative), MaskForLog(url));
            return false;
        }
        missing.push_back(relative.substr(slash + 1));
        relative.resize(slash);
    }
    if (missing.empty()) {
        LOG_LINE(Log::verbose, u"Folder already exists '%s'", MaskForLog(url));
        return true;
    }
    std::reverse(missing.begin(), missing.end());
    const bool created = CreateMissingFolders(std::move(relative), missing);
    TRACE_EXIT(created ? u"true" : u"false");
    return created;
}

// Makes the folders one in the other, beginning in `path`.
bool Web::CreateMissingFolders(std::u16string path, const std::vector<std::u16string>& missing) {
    TRACE_NAME("SharePointRestAPI::Web::CreateFolderNoBind");
    LOG_LINE(Log::verbose, u"Creating folders starting from existing path '%s'", MaskForLog(path));
    const std::u16string digest = GetDigest();
    if (digest.empty()) {
        LOG_LINE(Log::error, u"Failed to get Request Digest");
        return false;
    }
    for (const std::u16string& name : missing) {
        LOG_LINE(Log::verbose, u"Sending add folder request to '%s' in '%s'", MaskForLog(name),
                 MaskForLog(path));
        const Http::Response response = m_http->SendRequest(
            u"POST",
            FolderAddress(EncodedPath(), path) + u"')/Folders/AddUsingPath(decodedurl='" +
                UrlEncodeQuoted(name) + u"')",
            kAcceptVerbose, DigestLine(digest).c_str(), nullptr, 0, /*check_status=*/true);
        LOG_LINE(Log::verbose, u"File::CheckIn result: %i", response.GetStatus());
        LOG_LINE(Log::verbose, u"Created folder '%s' in '%s'", MaskForLog(name), MaskForLog(path));
        path += u"/" + name;
    }
    return true;
}

}  // namespace SharePointRestAPI
