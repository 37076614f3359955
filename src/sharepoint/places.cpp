// Rules of places on a site. No state.
#include "sharepoint/places.h"

#include <algorithm>

#include "base/failure.h"
#include "base/log.h"

namespace SharePoint {

namespace {

bool Exists(const std::function<bool(const std::u16string&)>& exists, const std::u16string& folder_url) {
    try {
        return exists(folder_url);
    } catch (...) {
        return false;
    }
}

}  // namespace

std::u16string RequirePath(const char* trace_function, const std::u16string& server_url,
                           const std::u16string& object_url) {
    std::u16string object_path;
    const CompareUrlsResult server_to_object_comparison_result =
        CompareUrls(server_url, object_url, &object_path, false);
    CHECK_THROW(server_to_object_comparison_result == CompareUrlsResult::equal ||
                    server_to_object_comparison_result == CompareUrlsResult::url1_is_parent,
                HResultException, E_INVALIDARG,
                u"server_to_object_comparison_result == CompareUrlsResult::equal || "
                u"server_to_object_comparison_result == CompareUrlsResult::url1_is_parent");
    return object_path;
}

Place FindPlace(const char* trace_function, const std::u16string& server_url, const std::u16string& web_path,
                const std::u16string& url, Web::BindObjectType type, std::u16string& out_path) {
    const CompareUrlsResult to_server = CompareUrls(server_url, url, &out_path, true);
    if (!IsSameOrParent(to_server)) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison server URL '%s' to the given URL '%s'",
                 to_server, MaskForLog(server_url), MaskForLog(url));
        return Place::refused;
    }
    const CompareUrlsResult to_web = CompareRelativeUrls(web_path, out_path);
    if (to_web == CompareUrlsResult::equal) {
        if (type == Web::BindObjectType::file) {
            LOG_LINE(Log::warning, u"given URL is web, cannot bind as file");
            return Place::refused;
        }
        LOG_LINE(Log::verbose, u"given URL is web, binded as folder");
        return Place::web;
    }
    if (IsFileLinkUrl(url)) {
        if (type != Web::BindObjectType::folder) return Place::link;
        LOG_LINE(Log::verbose, u"File link URL '%s' cannot be binded as folder", MaskForLog(url));
        return Place::refused;
    }
    if (to_web == CompareUrlsResult::url1_is_parent) return Place::below;
    LOG_LINE(Log::error, u"Unexpected result %u of comparison web path '%s' to the given path '%s'", to_web,
             MaskForLog(web_path), MaskForLog(out_path));
    return Place::refused;
}

std::u16string FileLinkAddress(const std::u16string& url) {
    return u"_api/SP.RemoteWeb(@url)/web/"
           u"GetFileByUrl(@url)?$select=ServerRelativeUrl,Name,Length,TimeCreated,"
           u"TimeLastModified,CheckedOutByUser/LoginName&$expand=CheckedOutByUser&@url='" +
           UrlEncode(url) + u"'";
}

void NameWebByItsPath(Information& web) {
    const size_t slash = web.m_path.rfind(u'/');
    if (web.m_name.empty() && slash != std::u16string::npos) web.m_name = web.m_path.substr(0, slash);
}

bool IsOfType(const char* trace_function, const Information& information, bool is_folder,
              Web::BindObjectType type) {
    if (type == Web::BindObjectType::any || is_folder == (type == Web::BindObjectType::folder)) return true;
    LOG_LINE(Log::error, u"Object '%s' has unexpected type '%s'", MaskForLog(information.m_path),
             is_folder ? u"folder" : u"file");
    return false;
}

bool FindPathInWeb(const char* trace_function, const std::u16string& server_url,
                   const std::u16string& web_path, const std::u16string& url, std::u16string& out_path) {
    const CompareUrlsResult to_server = CompareUrls(server_url, url, &out_path, false);
    if (to_server != CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison server URL '%s' to given URL '%s'",
                 to_server, MaskForLog(server_url), MaskForLog(url));
        return false;
    }
    const CompareUrlsResult to_web = CompareRelativeUrls(web_path, out_path);
    if (to_web != CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison web path '%s' to the given path '%s'",
                 to_web, MaskForLog(web_path), MaskForLog(out_path));
        return false;
    }
    return true;
}

bool FindMissingFolders(const char* trace_function, const std::u16string& server_url,
                        const std::u16string& url, const std::function<bool(const std::u16string&)>& exists,
                        MissingFolders& out_missing) {
    std::u16string& path = out_missing.path;
    const CompareUrlsResult to_server = CompareUrls(server_url, url, &path, false);
    if (to_server == CompareUrlsResult::equal) {
        LOG_LINE(Log::verbose, u"Folder is web - already exists '%s'", MaskForLog(url));
        return true;
    }
    if (to_server != CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison server URL '%s' to given URL '%s'",
                 to_server, MaskForLog(server_url), MaskForLog(url));
        return false;
    }
    if (path.ends_with(u'/')) path.pop_back();
    LOG_LINE(Log::verbose, u"Searhing lower existing folder for path '%s'", MaskForLog(path));
    while (!Exists(exists, server_url + u"/" + path)) {
        const size_t slash = path.rfind(u'/');
        if (slash == std::u16string::npos) {
            LOG_LINE(Log::error, u"Failed to get parent path for '%s' during creation of folder '%s'",
                     MaskForLog(path), MaskForLog(url));
            return false;
        }
        out_missing.names.push_back(path.substr(slash + 1));
        path.resize(slash);
    }
    std::reverse(out_missing.names.begin(), out_missing.names.end());
    if (out_missing.names.empty()) {
        LOG_LINE(Log::verbose, u"Folder already exists '%s'", MaskForLog(url));
    } else {
        LOG_LINE(Log::verbose, u"Creating folders starting from existing path '%s'", MaskForLog(path));
    }
    return true;
}

}  // namespace SharePoint
