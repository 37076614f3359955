#include "content/sharing.h"

#include "base/text.h"

namespace devserver {
namespace {

struct Kind {
    const char *extension, *letter;
};
constexpr Kind kInds[] = {{".pdf", "b"}, {".docx", "w"}, {".xlsx", "x"}, {".pptx", "p"}, {".txt", "t"}};

std::string KindOf(const Item& item) {
    if (item.folder) return "f";
    for (const auto& kind : kInds)
        if (ToLower(item.name).ends_with(kind.extension)) return kind.letter;
    return "u";
}

}  // namespace

bool IsSharingPath(std::string_view path) {
    return path.size() > 5 && path[0] == '/' && path[1] == ':' && path.substr(3, 2) == ":/";
}

std::string SharingPath(Store& store, const Item& item) {
    auto web = store.WebOf(item.path).path;
    auto place = StartsWithIgnoringCase(web, "sites/") ? "s/" + web.substr(6) + "/" : std::string("g/");
    return "/:" + KindOf(item) + ":/" + EncodePath(place) + "E" + Base64urlEncode(item.guid) + "?e=1";
}

std::optional<Item> FindShared(Store& store, const std::string& server_url, const std::string& url) {
    std::string path = url;
    if (StartsWithIgnoringCase(path, server_url + "/")) path = path.substr(server_url.size());
    path = PercentDecode(path.substr(0, path.find_first_of("?#")));
    if (path.empty() || path[0] != '/') return std::nullopt;
    if (!IsSharingPath(path)) return store.Find(path);
    auto rest = path.substr(5);
    // ":b:/r/" is followed by the document's own path.
    if (rest.starts_with("r/")) return store.Find(rest.substr(1));
    auto token = rest.substr(rest.rfind('/') + 1);
    if (token.size() < 2 || token[0] != 'E') return std::nullopt;
    auto guid = Base64urlDecode(token.substr(1));
    return guid ? store.ItemByGuid(*guid) : std::nullopt;
}

}  // namespace devserver
