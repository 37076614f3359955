#include "content/sharing.h"

#include "base/text.h"

namespace devserver {
namespace {

struct Kind {
    const char *extension, *letter;
};
constexpr Kind kinds[] = {{".pdf", "b"}, {".docx", "w"}, {".xlsx", "x"}, {".pptx", "p"}, {".txt", "t"}};

std::string kind_of(const Item& item) {
    if (item.folder) return "f";
    for (const auto& kind : kinds)
        if (to_lower(item.name).ends_with(kind.extension)) return kind.letter;
    return "u";
}

}  // namespace

bool is_sharing_path(std::string_view path) {
    return path.size() > 5 && path[0] == '/' && path[1] == ':' && path.substr(3, 2) == ":/";
}

std::string sharing_path(Store& store, const Item& item) {
    auto web = store.web_of(item.path).path;
    auto place = starts_with_ignoring_case(web, "sites/") ? "s/" + web.substr(6) + "/" : std::string("g/");
    return "/:" + kind_of(item) + ":/" + encode_path(place) + "E" + base64url_encode(item.guid) + "?e=1";
}

std::optional<Item> find_shared(Store& store, const std::string& server_url, const std::string& url) {
    std::string path = url;
    if (starts_with_ignoring_case(path, server_url + "/")) path = path.substr(server_url.size());
    path = percent_decode(path.substr(0, path.find_first_of("?#")));
    if (path.empty() || path[0] != '/') return std::nullopt;
    if (!is_sharing_path(path)) return store.find(path);
    auto rest = path.substr(5);
    // ":b:/r/" is followed by the document's own path.
    if (rest.starts_with("r/")) return store.find(rest.substr(1));
    auto token = rest.substr(rest.rfind('/') + 1);
    if (token.size() < 2 || token[0] != 'E') return std::nullopt;
    auto guid = base64url_decode(token.substr(1));
    return guid ? store.item_by_guid(*guid) : std::nullopt;
}

}  // namespace devserver
