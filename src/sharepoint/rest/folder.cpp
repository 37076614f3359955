#include "sharepoint/rest/folder.h"

#include "base/url.h"
#include "sharepoint/rest/protocol.h"

namespace SharePointRestAPI {

namespace {
constexpr uint32_t kBadRequest = 400;
}  // namespace

void Folder::Rename(const std::u16string& new_path) {
    TRACE_ENTRY("SharePointRestAPI::Folder::Rename");
    LOG_LINE(Log::verbose, u"Folder::Rename '%s'", MaskForLog(m_information.m_path));
    const std::u16string digest = RequireDigest(trace_function);
    const std::u16string move = FolderAddress(m_web->EncodedPath(), m_information.m_path) + u"')/moveto('/" +
                                UrlEncodeQuoted(new_path);
    Http::Response response = SendChange(u"POST", move + u"', flags=1)", digest);
    // docs/compatibility.md: A folder is moved without flags where they are refused
    if (response.GetStatus() == kBadRequest) {
        LOG_LINE(Log::warning, u"The server refused the flags of a folder's move, sent again without them");
        response = SendChange(u"POST", move + u"')", digest);
    }
    LOG_LINE(Log::verbose, u"Folder::Rename result: %i", response.GetStatus());
    TRACE_EXIT(u"");
}

void Folder::Delete() {
    TRACE_ENTRY("SharePointRestAPI::Folder::Delete");
    LOG_LINE(Log::verbose, u"Folder::Delete '%s'", MaskForLog(m_information.m_path));
    const std::u16string digest = RequireDigest(trace_function);
    const Http::Response response =
        SendChange(u"DELETE", FolderAddress(m_web->EncodedPath(), m_information.m_path) + u"')", digest);
    LOG_LINE(Log::verbose, u"Folder::Delete result: %i", response.GetStatus());
    TRACE_EXIT(u"");
}

std::vector<std::shared_ptr<SharePoint::Object>> Folder::Enumerate(std::u16string* out_unread) {
    return m_web->Enumerate(m_information.m_path, out_unread);
}

}  // namespace SharePointRestAPI
