// A resource of the REST interface, and the request for it.
// Owner: rest/; a request's thread alone.
#pragma once
#include <rapidjson/document.h>

#include <memory>
#include <optional>
#include <string>

#include "auth/digest.h"
#include "http/message.h"
#include "odata/errors.h"
#include "odata/format.h"
#include "odata/url.h"
#include "store/store.h"

namespace devserver::rest {

using odata::ApiError;
using odata::Complex;
using odata::Entity;
using odata::Feed;
using odata::Link;
using odata::Node;
using odata::Segment;
using odata::Value;

struct Context {
    http::Request& request;
    Store& store;
    FormDigests& digests;
    User user;
    Web web;
    std::string method;  // after X-HTTP-Method
    odata::Mode mode;
    odata::Projection projection;
    std::string server_url;
    int list_threshold;  // entries of a folder that a listing without pages may have; 0 for any

    bool IsOverThreshold(const Item& folder) const {
        return list_threshold > 0 && folder.child_count > list_threshold;
    }

    std::string WebUrl() const { return server_url + (web.path.empty() ? "" : "/" + EncodePath(web.path)); }
    std::string ApiUrl() const { return WebUrl() + "/_api/"; }
    bool IsPost() const { return method == "POST"; }
    // Throws access denied unless the user may edit.
    void RequireEdit() const;
    // Throws 412 when the request's If-Match has another tag.
    void RequireMatch(const std::string& etag) const;
    // The body as JSON; an empty object for an empty body; throws 400 for anything else.
    rapidjson::Document JsonBody() const;
};

// The answer of an operation: a node with a name, or a response that the operation made itself.
struct Outcome {
    Node node;
    std::string name;
    int status = 200;
    std::optional<http::Response> response;

    static Outcome Of(Node node, std::string name) { return {std::move(node), std::move(name), 200, {}}; }
    // A void operation: null under its name.
    static Outcome done(std::string name) { return Of(Node::Nothing(), std::move(name)); }
    static Outcome empty(int status = 200);
    static Outcome raw(http::Response response);
};

class Resource;
using ResourcePtr = std::unique_ptr<Resource>;

class Resource {
public:
    virtual ~Resource() = default;
    // The resource of the next segment; null when it isn't known here.
    virtual ResourcePtr child(Context&, const Segment&) { return nullptr; }
    // An element of a collection by its key; null when this isn't a collection.
    virtual ResourcePtr key(Context&, const odata::Literal&) { return nullptr; }
    // The last segment as an operation; nothing when it isn't one.
    virtual std::optional<Outcome> operation(Context&, const Segment&) { return std::nullopt; }
    // The answer of a GET.
    virtual Outcome get(Context& context) = 0;
    virtual Outcome put(Context&) { throw NotSupported(); }
    virtual Outcome Post(Context& context) { return get(context); }
    virtual Outcome Merge(Context&) { throw NotSupported(); }
    virtual Outcome Remove(Context&) { throw NotSupported(); }

protected:
    static ApiError NotSupported();
    // What a method such as getById leads to: the element of its first argument; null for other segments.
    ResourcePtr ByKey(Context& context, const Segment& segment,
                      std::initializer_list<std::string_view> methods);
};

ResourcePtr MakeRoot(Context& context);
ResourcePtr MakeWeb(const Web& web);
ResourcePtr MakeFile(std::string path, std::optional<Item> item);
ResourcePtr MakeFolder(std::string path, std::optional<Item> item);
ResourcePtr MakeLibrary(const Library& library);
ResourcePtr MakeListItem(const Item& item);
ResourcePtr MakeUser(const User& user, std::string id);
ResourcePtr MakeLibraries(const Web& web);
ResourcePtr MakeUsers();

Entity FileEntity(const Context& context, const std::shared_ptr<const Item>& item);
Entity FolderEntity(const Context& context, const std::shared_ptr<const Item>& item);
Entity UserEntity(const User& user, std::string id);
// Null for an unknown user.
Node UserNode(const Context& context, Id user, const std::string& id);
std::string UserId(Id user);
Entity LibraryEntity(const Context& context, const Library& library);
Entity ListItemEntity(const Context& context, const std::shared_ptr<const Item>& item);
Entity WebEntity(const Context& context, const Web& web);
Value EffectivePermissions(const User& user);

// The operation that moves an item to the recycle bin.
Outcome Recycle(Context& context, const Item& item);

// Applies $filter, $orderby, $skip and $top to a feed.
Feed ApplyFeedOptions(const Context& context, Feed feed);
// A feed of the entities that `make` yields for the elements of a list.
template <typename Element, typename Make>
Feed FeedOf(std::vector<Element> elements, Make make) {
    auto list = std::make_shared<std::vector<Element>>(std::move(elements));
    auto index = std::make_shared<std::size_t>(0);
    return {[list, index, make](Entity& entity) {
                if (*index >= list->size()) return false;
                entity = make((*list)[(*index)++]);
                return true;
            },
            {}};
}
// The path itself, or the first free one with a number after the name's stem.
std::string FreePath(Store& store, const std::string& path);
// The server-relative path of an argument, which may be an absolute address of this server.
std::string ServerRelative(const Context& context, std::string path);

}  // namespace devserver::rest
