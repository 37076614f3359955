// Making of files and folders. Any thread.
#include "base/text/url.h"
#include "sharepoint/places.h"
#include "sharepoint/rest/protocol.h"
#include "sharepoint/rest/web.h"

namespace SharePointRestAPI {

using SharePoint::FindPathInWeb;

namespace {

std::u16string DigestLine(const std::u16string& digest) {
    return u"X-RequestDigest:" + digest;
}

}  // namespace

bool Web::IsFileKnownMissing(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::IsFileKnownMissing");
    static constexpr uint32_t kNotFound = 404;
    std::u16string relative;
    if (!FindPathInWeb(trace_function, m_http->GetUri(), m_information.m_path, url, relative)) return false;
    const Http::Response answer = m_http->SendRequest(u"GET", FileAddress(EncodedPath(), relative) + u"')",
                                                      kAcceptVerbose, nullptr, nullptr, 0, false);
    const uint32_t status = answer.GetStatus();
    TRACE_EXIT(status);
    return status == kNotFound;
}

std::shared_ptr<SharePoint::Object> Web::CreateFile(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::CreateFile");
    std::u16string relative;
    if (!FindPathInWeb(trace_function, m_http->GetUri(), m_information.m_path, url, relative)) return nullptr;
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
    if (!FindPathInWeb(trace_function, m_http->GetUri(), m_information.m_path, url, relative)) return nullptr;
    if (!CreateFolderNoBind(url)) {
        LOG_LINE(Log::error, u"Failed to create parent folder for folder '%s'", MaskForLog(url));
        return nullptr;
    }
    TRACE_EXIT(u"");
    return BindObject(url, BindObjectType::folder);
}

bool Web::CreateFolderNoBind(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::CreateFolderNoBind");
    SharePoint::MissingFolders missing;
    const auto exists = [this](const std::u16string& folder) {
        return BindObject(folder, BindObjectType::folder) != nullptr;
    };
    if (!SharePoint::FindMissingFolders(trace_function, m_http->GetUri(), url, exists, missing)) return false;
    const bool created = missing.names.empty() || CreateMissingFolders(missing.path, missing.names);
    TRACE_EXIT(created ? u"true" : u"false");
    return created;
}

// Makes the folders one in the other, beginning in `path`.
bool Web::CreateMissingFolders(std::u16string path, const std::vector<std::u16string>& missing) {
    TRACE_NAME("SharePointRestAPI::Web::CreateFolderNoBind");
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
