#include "base/url.h"
#include "sharepoint/places.h"
#include "sharepoint/rest/protocol.h"
#include "sharepoint/rest/web.h"

namespace SharePointRestAPI {

bool Web::IsFileKnownMissing(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::IsFileKnownMissing");
    const auto ask = [this](const std::u16string& path) {
        Json::Document answer;
        return AskForItem(FileAddress(EncodedPath(), path) + u"')", answer).GetStatus();
    };
    return SharePoint::IsFileKnownMissing(trace_function, GetPlace(), url, ask);
}

std::shared_ptr<SharePoint::Object> Web::CreateFile(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::CreateFile");
    std::u16string path;
    if (!SharePoint::FindPathInWeb(trace_function, GetPlace(), url, path)) return nullptr;
    if (!SharePoint::MakeParentFolder(trace_function, *this, url)) return nullptr;
    std::u16string digest = GetDigest();
    if (!SharePoint::HasDigest(trace_function, digest)) return nullptr;
    LOG_LINE(Log::verbose, u"Sending create file request to '%s'", MaskForLog(url));
    std::u16string folder_path;
    CompareUrls(m_http->GetUri(), GetUrlParent(url), &folder_path, false);
    const std::u16string file_name(SharePoint::LastPathPart(path));
    // docs/compatibility.md: Odd blanks in addresses
    const Http::Response response =
        SendChange(u"POST",
                   FolderAddress(EncodedPath(), folder_path) + u"')/Files/AddUsingPath(decodedurl='" +
                       UrlEncodeQuoted(file_name) + u"',  overwrite=true)",
                   digest);
    response.CheckStatus();
    TRACE_EXIT(u"");
    return BindObject(url, BindObjectType::file);
}

std::shared_ptr<SharePoint::Object> Web::CreateFolder(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::CreateFolder");
    return SharePoint::CreateFolder(trace_function, *this, url);
}

bool Web::CreateFolderNoBind(const std::u16string& url) {
    TRACE_ENTRY("SharePointRestAPI::Web::CreateFolderNoBind");
    std::u16string digest;  // one for all folders of a call
    const auto add = [&](const std::u16string& parent, const std::u16string& name) {
        if (digest.empty()) digest = GetDigest();
        if (!SharePoint::HasDigest(trace_function, digest)) {
            TRACE_EXIT(u"false");
            return false;
        }
        LOG_LINE(Log::verbose, u"Sending add folder request to '%s' in '%s'", MaskForLog(name),
                 MaskForLog(parent));
        const Http::Response response =
            SendChange(u"POST",
                       FolderAddress(EncodedPath(), parent) + u"')/Folders/AddUsingPath(decodedurl='" +
                           UrlEncodeQuoted(name) + u"')",
                       digest);
        response.CheckStatus();
        LOG_LINE(Log::verbose, u"File::CheckIn result: %i", response.GetStatus());
        LOG_LINE(Log::verbose, u"Created folder '%s' in '%s'", MaskForLog(name), MaskForLog(parent));
        return true;
    };
    return SharePoint::MakeMissingFolders(trace_function, m_http->GetUri(), *this, url, add);
}

}  // namespace SharePointRestAPI
