#include "sharepoint/places.h"

#include <algorithm>
#include <vector>

#include "base/log.h"
#include "http/session.h"
#include "sharepoint/reading.h"

namespace SharePoint {

namespace {

constexpr uint32_t kNotFound = 404;

// The address, relative to the server, of the file behind a sharing link.
std::u16string FileLinkAddress(const std::u16string& url) {
    return u"_api/SP.RemoteWeb(@url)/web/"
           u"GetFileByUrl(@url)?$select=ServerRelativeUrl,Name,Length,TimeCreated,"
           u"TimeLastModified,CheckedOutByUser/LoginName&$expand=CheckedOutByUser&@url='" +
           UrlEncode(url) + u"'";
}

bool IsFolder(Web& web, const std::u16string& url) {
    try {
        return web.BindObject(url, Web::BindObjectType::folder) != nullptr;
    } catch (...) {
        return false;
    }
}

// The folders to make so that one exists.
struct MissingFolders {
    std::u16string path;                // the lowest folder that exists, relative to the server root
    std::vector<std::u16string> names;  // from the top down; empty when nothing is missing
};

// False when the URL isn't on the server or none of its parents exists.
bool FindMissingFolders(const char* trace_function, const std::u16string& server_url, Web& web,
                        const std::u16string& url, MissingFolders& out_missing) {
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
    while (!IsFolder(web, server_url + u"/" + path)) {
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

}  // namespace

std::u16string RequireWebPath(const char* trace_function, Http::Session& http,
                              const std::u16string& object_url, WebPathFinder find_web_path) {
    std::u16string object_path, web_path;
    const CompareUrlsResult server_to_object_comparison_result =
        CompareUrls(http.GetUri(), object_url, &object_path, false);
    CHECK_THROW(server_to_object_comparison_result == CompareUrlsResult::equal ||
                    server_to_object_comparison_result == CompareUrlsResult::url1_is_parent,
                HResultException, E_INVALIDARG,
                u"server_to_object_comparison_result == CompareUrlsResult::equal || "
                u"server_to_object_comparison_result == CompareUrlsResult::url1_is_parent");
    static constexpr char16_t kFindWebPath[] = u"GetWebPath(*http, object_path, self->m_information.m_path)";
    CHECK_THROW_TEXT(find_web_path(http, object_path, web_path), kFindWebPath, HResultException, E_INVALIDARG,
                     kFindWebPath);
    LOG_LINE(Log::verbose, u"root='%s'", MaskForLog(web_path));
    return web_path;
}

// docs/compatibility.md: A web is named after its parent
void NameWebByItsPath(Information& web) {
    const size_t slash = web.m_path.rfind(u'/');
    if (web.m_name.empty() && slash != std::u16string::npos) web.m_name = web.m_path.substr(0, slash);
}

Place FindPlace(const char* trace_function, const WebPlace& web, const std::u16string& url,
                Web::BindObjectType type, std::u16string& out_path) {
    const CompareUrlsResult to_server = CompareUrls(web.server_url, url, &out_path, true);
    if (!IsSameOrParent(to_server)) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison server URL '%s' to the given URL '%s'",
                 to_server, MaskForLog(web.server_url), MaskForLog(url));
        return Place::refused;
    }
    const CompareUrlsResult to_web = CompareRelativeUrls(web.path, out_path);
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
             MaskForLog(web.path), MaskForLog(out_path));
    return Place::refused;
}

bool IsOfType(const char* trace_function, const Information& information, bool is_folder,
              Web::BindObjectType type) {
    if (type == Web::BindObjectType::any || is_folder == (type == Web::BindObjectType::folder)) return true;
    LOG_LINE(Log::error, u"Object '%s' has unexpected type '%s'", MaskForLog(information.m_path),
             is_folder ? u"folder" : u"file");
    return false;
}

bool AskForFileLink(const char* trace_function, Http::Session& http, const std::u16string& url,
                    const char16_t* const* accept, Json::Document& out_answer) {
    LOG_LINE(Log::verbose, u"Getting information from file link URL '%s'", MaskForLog(url));
    return SharePoint2010::Utility::ReadJson(
        out_answer, http.SendRequest(u"GET", FileLinkAddress(url), accept, nullptr, nullptr, 0,
                                     /*check_status=*/true));
}

bool FindPathInWeb(const char* trace_function, const WebPlace& web, const std::u16string& url,
                   std::u16string& out_path) {
    const CompareUrlsResult to_server = CompareUrls(web.server_url, url, &out_path, false);
    if (to_server != CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison server URL '%s' to given URL '%s'",
                 to_server, MaskForLog(web.server_url), MaskForLog(url));
        return false;
    }
    const CompareUrlsResult to_web = CompareRelativeUrls(web.path, out_path);
    if (to_web != CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error, u"Unexpected result %u of comparison web path '%s' to the given path '%s'",
                 to_web, MaskForLog(web.path), MaskForLog(out_path));
        return false;
    }
    return true;
}

bool IsFileKnownMissing(const char* trace_function, const WebPlace& web, const std::u16string& url,
                        const std::function<uint32_t(const std::u16string&)>& ask_for_status) {
    std::u16string path;
    if (!FindPathInWeb(trace_function, web, url, path)) return false;
    const uint32_t status = ask_for_status(path);
    TRACE_EXIT(status);
    return status == kNotFound;
}

bool MakeMissingFolders(const char* trace_function, const std::u16string& server_url, Web& web,
                        const std::u16string& url, const FolderMaker& make_folder) {
    MissingFolders missing;
    if (!FindMissingFolders(trace_function, server_url, web, url, missing)) return false;
    for (const std::u16string& name : missing.names) {
        if (!make_folder(missing.path, name)) return false;
        missing.path += u"/" + name;
    }
    TRACE_RETURN(true);
}

}  // namespace SharePoint
