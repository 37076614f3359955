// Where a URL leads, seen from a server and one of its webs: the rules that both dialects share. No state;
// the log names the function that asks.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/text/url.h"
#include "sharepoint/object.h"

namespace SharePoint {

inline bool IsSameOrParent(CompareUrlsResult result) {
    return result == CompareUrlsResult::equal || result == CompareUrlsResult::url1_is_parent;
}

// The path relative to the server of a URL that must be its own or lie below. HResultException E_INVALIDARG.
std::u16string RequirePath(const char* trace_function, const std::u16string& server_url,
                           const std::u16string& object_url);

// Where an object is looked for that is to be bound.
enum class Place {
    refused,  // not on this site, or of another kind than wanted
    web,      // the web itself
    link,     // behind a sharing link
    below,    // at its path, below the web
};
// `out_path` receives the path relative to the server root.
Place FindPlace(const char* trace_function, const std::u16string& server_url, const std::u16string& web_path,
                const std::u16string& url, Web::BindObjectType type, std::u16string& out_path);

// The address, relative to the server, that tells what a sharing link stands for.
std::u16string FileLinkAddress(const std::u16string& url);

// Names a web that the server gave no name after the part of its path before the last "/".
void NameWebByItsPath(Information& web);

// Whether an object that was found is of the wanted kind.
bool IsOfType(const char* trace_function, const Information& information, bool is_folder,
              Web::BindObjectType type);

// The path relative to the server root of a URL that must lie below the web.
bool FindPathInWeb(const char* trace_function, const std::u16string& server_url,
                   const std::u16string& web_path, const std::u16string& url, std::u16string& out_path);

// What has to be made so that a folder exists.
struct MissingFolders {
    std::u16string path;                // the lowest folder that exists, relative to the server root
    std::vector<std::u16string> names;  // from the top down; empty when nothing is missing
};
// False when the URL isn't on the server or nothing of it exists. `exists` is asked for absolute URLs and may
// throw, which counts as no.
bool FindMissingFolders(const char* trace_function, const std::u16string& server_url,
                        const std::u16string& url,
                        const std::function<bool(const std::u16string& folder_url)>& exists,
                        MissingFolders& out_missing);

}  // namespace SharePoint
