// Making, moving and copying on an older server. Any thread.
#include "base/text/url.h"
#include "sharepoint/legacy/protocol.h"
#include "sharepoint/legacy/web.h"
#include "sharepoint/places.h"
#include "sharepoint/reading.h"

namespace SharePoint2013 {

namespace {
constexpr uint32_t kNotFound = 404;
constexpr uint32_t kMultistatus = 207;
}  // namespace

bool Web::IsFileKnownMissing(const std::u16string& url) {
    TRACE_ENTRY("SharePoint2013::Web::IsFileKnownMissing");
    std::u16string relative;
    if (!SharePoint::FindPathInWeb(trace_function, m_http->GetUri(), m_information.m_path, url, relative))
        return false;
    const uint32_t status = m_http
                                ->SendRequest(u"HEAD", UrlEncode(relative), kAcceptAny, nullptr, nullptr, 0,
                                              /*check_status=*/false)
                                .GetStatus();
    TRACE_EXIT(status);
    return status == kNotFound;
}

std::shared_ptr<SharePoint::Object> Web::CreateFile(const std::u16string& url) {
    TRACE_ENTRY("SharePoint2013::Web::CreateFile");
    std::u16string relative;
    if (!SharePoint::FindPathInWeb(trace_function, m_http->GetUri(), m_information.m_path, url, relative))
        return nullptr;
    LOG_LINE(Log::verbose, u"Sending PUT request to '%s'", MaskForLog(relative));
    const std::u16string parent = GetUrlParent(url);
    if (!parent.empty() && !CreateFolderNoBind(parent)) {
        LOG_LINE(Log::error, u"Failed to create parent folder for file '%s'", MaskForLog(url));
        return nullptr;
    }
    m_http->SendRequest(u"PUT", UrlEncode(relative), kAcceptAny, nullptr, nullptr, 0, /*check_status=*/true);
    TRACE_EXIT(u"");
    return BindObject(url, BindObjectType::file);
}

std::shared_ptr<SharePoint::Object> Web::CreateFolder(const std::u16string& url) {
    TRACE_ENTRY("SharePoint2013::Web::CreateFolder");
    std::u16string relative;
    if (!SharePoint::FindPathInWeb(trace_function, m_http->GetUri(), m_information.m_path, url, relative))
        return nullptr;
    if (!CreateFolderNoBind(url)) {
        LOG_LINE(Log::error, u"Failed to create parent folder for folder '%s'", MaskForLog(url));
        return nullptr;
    }
    TRACE_EXIT(u"");
    return BindObject(url, BindObjectType::folder);
}

bool Web::CreateFolderNoBind(const std::u16string& url) {
    TRACE_ENTRY("SharePoint2013::Web::CreateFolderNoBind");
    SharePoint::MissingFolders missing;
    const auto exists = [this](const std::u16string& folder) {
        return BindObject(folder, BindObjectType::folder) != nullptr;
    };
    if (!SharePoint::FindMissingFolders(trace_function, m_http->GetUri(), url, exists, missing)) return false;
    std::u16string path = missing.path;
    for (const std::u16string& name : missing.names) {
        path += u"/" + name;
        if (!SendMkcol(path)) {
            LOG_LINE(Log::error, u"Failed to create folder path '%s' during creation of folder '%s'",
                     MaskForLog(path), MaskForLog(url));
            return false;
        }
        LOG_LINE(Log::verbose, u"Created folder '%s'", MaskForLog(path));
    }
    TRACE_RETURN(true);
}

bool Web::SendMkcol(const std::u16string& path) {
    TRACE_NAME("SharePoint2013::Web::CreateFolderNoBind");
    LOG_LINE(Log::verbose, u"Sending MKCOL request to '%s'", MaskForLog(path));
    const Http::Response response = m_http->SendRequest(u"MKCOL", UrlEncode(path), kAcceptXml, nullptr,
                                                        nullptr, 0, /*check_status=*/true);
    if (response.GetStatus() != kMultistatus) return response.GetStatus() < 400;
    pugi::xml_document document;
    Utility::ReadXml(document, response);
    return Utility::CheckWebDavMultistatus(document, path, u"MKCOL");
}

void Web::SendMoveOrCopy(const char16_t* verb, const std::u16string& path, const std::u16string& new_path) {
    TRACE_ENTRY("SharePoint2013::Web::SendMoveOrCopy");
    const std::u16string headers = u"Destination:" + UrlEncode(new_path) + u"\nOverwrite:T\n\n";
    const Http::Response response = m_http->SendRequest(verb, UrlEncode(path), kAcceptXml, headers.c_str(),
                                                        nullptr, 0, /*check_status=*/true);
    if (response.GetStatus() == kMultistatus) {
        pugi::xml_document document;
        Utility::ReadXml(document, response);
        Utility::CheckWebDavMultistatus(document, path, verb);
    }
    TRACE_EXIT(u"");
}

}  // namespace SharePoint2013
