#include "base/url.h"
#include "sharepoint/legacy/protocol.h"
#include "sharepoint/legacy/web.h"
#include "sharepoint/places.h"
#include "sharepoint/reading.h"

namespace SharePoint2013 {

namespace {
constexpr uint32_t kMultistatus = 207;
}  // namespace

bool Web::IsFileKnownMissing(const std::u16string& url) {
    TRACE_ENTRY("SharePoint2013::Web::IsFileKnownMissing");
    return SharePoint::IsFileKnownMissing(trace_function, GetPlace(), url, [this](const auto& path) {
        return m_http->SendRequest(u"HEAD", UrlEncode(path), kAcceptAny, nullptr, nullptr, 0, false)
            .GetStatus();
    });
}

std::shared_ptr<SharePoint::Object> Web::CreateFile(const std::u16string& url) {
    TRACE_ENTRY("SharePoint2013::Web::CreateFile");
    std::u16string path;
    if (!SharePoint::FindPathInWeb(trace_function, GetPlace(), url, path)) return nullptr;
    LOG_LINE(Log::verbose, u"Sending PUT request to '%s'", MaskForLog(path));
    if (!SharePoint::MakeParentFolder(trace_function, *this, url)) return nullptr;
    m_http->SendRequest(u"PUT", UrlEncode(path), kAcceptAny, nullptr, nullptr, 0, /*check_status=*/true);
    TRACE_EXIT(u"");
    return BindObject(url, BindObjectType::file);
}

bool Web::CreateFolderNoBind(const std::u16string& url) {
    TRACE_ENTRY("SharePoint2013::Web::CreateFolderNoBind");
    const auto make = [&](const std::u16string& parent, const std::u16string& name) {
        const std::u16string path = parent + u"/" + name;
        const bool made = SendMkcol(path);
        if (made) {
            LOG_LINE(Log::verbose, u"Created folder '%s'", MaskForLog(path));
        } else {
            LOG_LINE(Log::error, u"Failed to create folder path '%s' during creation of folder '%s'",
                     MaskForLog(path), MaskForLog(url));
        }
        return made;
    };
    return SharePoint::MakeMissingFolders(trace_function, m_http->GetUri(), *this, url, make);
}

std::shared_ptr<SharePoint::Object> Web::CreateFolder(const std::u16string& url) {
    TRACE_ENTRY("SharePoint2013::Web::CreateFolder");
    return SharePoint::CreateFolder(trace_function, *this, url);
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
