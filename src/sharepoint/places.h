// What the webs of both dialects have in common: how a web is found, where a URL leads on it, how objects are
// bound, and how folders are made. No state; `trace_function` is the caller's name in the log.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "base/failure.h"
#include "base/url.h"
#include "sharepoint/json.h"
#include "sharepoint/object.h"

namespace SharePoint {

// A web of a server.
struct WebPlace {
    std::u16string server_url;
    std::u16string path;  // relative to the server root
};

inline bool IsSameOrParent(CompareUrlsResult result) {
    return result == CompareUrlsResult::equal || result == CompareUrlsResult::url1_is_parent;
}

// Asks the server for the path of the web that an object lies in.
using WebPathFinder = bool (*)(Http::Session& http, const std::u16string& object_path,
                               std::u16string& out_web_path);

// The path of the web that the object behind a URL belongs to. HResultException E_INVALIDARG for a URL of
// another server or without a web.
std::u16string RequireWebPath(const char* trace_function, Http::Session& http,
                              const std::u16string& object_url, WebPathFinder find_web_path);

// Names a web that the server gave no name after the part of its path before the last "/".
void NameWebByItsPath(Information& web);

// Where BindObject looks for an object.
enum class Place {
    refused,  // nowhere: it is not on this site, or of another kind than wanted
    web,      // the web itself
    link,     // behind a sharing link
    below,    // at its path, below the web
};
// `out_path` receives the path relative to the server root.
Place FindPlace(const char* trace_function, const WebPlace& web, const std::u16string& url,
                Web::BindObjectType type, std::u16string& out_path);

// Whether an object that was found is of the wanted kind.
bool IsOfType(const char* trace_function, const Information& information, bool is_folder,
              Web::BindObjectType type);

// Asks what is behind a sharing link; false when the answer isn't JSON. HttpException.
bool AskForFileLink(const char* trace_function, Http::Session& http, const std::u16string& url,
                    const char16_t* const* accept, Json::Document& out_answer);

// The path relative to the server root of a URL that must lie below the web.
bool FindPathInWeb(const char* trace_function, const WebPlace& web, const std::u16string& url,
                   std::u16string& out_path);

// Whether the server answers the request for a file's status with "not found".
bool IsFileKnownMissing(const char* trace_function, const WebPlace& web, const std::u16string& url,
                        const std::function<uint32_t(const std::u16string& path)>& ask_for_status);

// Makes the folder `name` in `parent`, a path relative to the server root; false when that fails.
using FolderMaker = std::function<bool(const std::u16string& parent, const std::u16string& name)>;

// Makes a folder and its missing parents, the highest first. False when the URL isn't on the server, none of
// its parents exists, or `make_folder` fails.
bool MakeMissingFolders(const char* trace_function, const std::u16string& server_url, Web& web,
                        const std::u16string& url, const FolderMaker& make_folder);

// What Create, BindObject, CreateFile and CreateFolder of the two webs share. `DialectWeb` is
// SharePointRestAPI::Web or SharePoint2013::Web, whose own steps these call.

template <typename DialectWeb>
std::shared_ptr<DialectWeb> CreateWeb(const char* trace_function, std::shared_ptr<Http::Session> http,
                                      const std::u16string& object_url) {
    const std::u16string path = RequireWebPath(trace_function, *http, object_url, DialectWeb::GetWebPath);
    auto web = std::make_shared<DialectWeb>(std::move(http), path);
    web->UpdateInformation();
    TRACE_EXIT(u"");
    return web;
}

template <typename DialectWeb>
std::shared_ptr<Object> BindObject(const char* trace_function, DialectWeb& web, const std::u16string& url,
                                   Web::BindObjectType type) {
    std::u16string path;
    const Place place = FindPlace(trace_function, web.GetPlace(), url, type, path);
    if (place == Place::web) return web.shared_from_this();
    if (place == Place::refused) return nullptr;
    Information information;
    bool is_folder = false;
    if (place == Place::below) {
        if (!web.ReadInformation(path, information, is_folder)) return nullptr;
    } else {
        if (!web.ReadFileLink(url, information, is_folder)) return nullptr;
        LOG_LINE(Log::verbose, u"Web::BindObject FileLinkURL %s", DescribeForLog(information, is_folder));
    }
    if (!IsOfType(trace_function, information, is_folder, type)) return nullptr;
    LOG_LINE(Log::verbose, u"Binded object %s", DescribeForLog(information, is_folder));
    TRACE_EXIT(u"");
    return web.MakeObject(std::move(information), is_folder);
}

// Makes the folder of a file when it is missing; false when that fails.
template <typename DialectWeb>
bool MakeParentFolder(const char* trace_function, DialectWeb& web, const std::u16string& file_url) {
    const std::u16string parent = GetUrlParent(file_url);
    if (parent.empty() || web.CreateFolderNoBind(parent)) return true;
    LOG_LINE(Log::error, u"Failed to create parent folder for file '%s'", MaskForLog(file_url));
    return false;
}

template <typename DialectWeb>
std::shared_ptr<Object> CreateFolder(const char* trace_function, DialectWeb& web, const std::u16string& url) {
    std::u16string path;
    if (!FindPathInWeb(trace_function, web.GetPlace(), url, path)) return nullptr;
    if (!web.CreateFolderNoBind(url)) {
        LOG_LINE(Log::error, u"Failed to create parent folder for folder '%s'", MaskForLog(url));
        return nullptr;
    }
    TRACE_EXIT(u"");
    return web.BindObject(url, Web::BindObjectType::folder);
}

}  // namespace SharePoint
