// WebDAV's changes of contents and structure: PUT, MKCOL, DELETE, MOVE and COPY.
// Owner: app/service; any thread.
#include <algorithm>

#include "base/clock.h"
#include "base/text.h"
#include "dav/dav_error.h"
#include "dav/dav_server.h"
#include "dav/properties.h"

namespace devserver::dav {
namespace {

std::string parent_of(const std::string& path) {
    auto slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool lies_within(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && starts_with_ignoring_case(path, folder) &&
           path[folder.size()] == '/';
}

}  // namespace

http::Response DavServer::put(Call& call) {
    require_edit(call);
    if (call.trailing_slash || (call.item && call.item->folder))
        throw DavError(405, "A folder can't be written.");
    require_conditions(call);
    if (call.item) require_unlocked(call, *call.item);
    if (call.request.headers.has("Content-Range")) throw DavError(400, "Parts of a file can't be written.");
    auto parent = m_store.find(parent_of(call.path));
    if (!parent || !parent->folder)
        throw DavError(409, "The folder of '" + call.path + "' doesn't exist.", 589830);
    auto content = m_store.blobs().create();
    if (call.request.has_body()) content->write_all(*call.request.body);
    auto item = m_store.add_file(call.path, std::move(content), call.user, true);
    http::Response response;
    response.status = call.item ? 200 : 201;
    response.headers.set("ETag", etag_of(item));
    response.headers.set("Last-Modified", http_date(item.modified));
    response.headers.set("ResourceTag", resource_tag_of(item));
    if (!call.item) response.headers.set("Location", writer_for(call).href(item.path));
    return response;
}

http::Response DavServer::make_collection(Call& call) {
    require_edit(call);
    if (call.request.has_body()) throw DavError(415, "MKCOL takes no body.");
    if (call.item) throw DavError(405, "'" + call.path + "' exists already.");
    require_conditions(call);
    auto item = m_store.create_folder(call.path, call.user);
    auto response = http::make_response(201, "", "");
    response.headers.set("Location", writer_for(call).href(item.path));
    return response;
}

void DavServer::require_in_library(const Item& item) {
    auto library = m_store.library(item.library);
    if (!library || library->root_item == item.id)
        throw DavError(403, "A site or a library can't be moved, replaced or deleted.", 917656);
}

// Removes all items but those in the list and the folders above them.
void DavServer::remove_free_parts(const Call& call, const Item& item, const std::vector<Blocked>& list) {
    bool stays = std::ranges::any_of(
        list, [&](const Blocked& one) { return one.path == item.path || lies_within(one.path, item.path); });
    if (!stays) return m_store.remove(item.id, call.user);
    if (!item.folder) return;
    for (bool folders : {false, true})
        for (const auto& child : m_store.children(item, folders)) remove_free_parts(call, child, list);
}

http::Response DavServer::remove(Call& call) {
    require_edit(call);
    require_item(call);
    if (!call.item->folder && call.trailing_slash) throw not_found(call.path + "/");
    require_in_library(*call.item);
    require_conditions(call);
    auto list = blocked_in(call, *call.item);
    if (!list.empty() && !call.item->folder) require_unlocked(call, *call.item);
    if (!list.empty()) {
        remove_free_parts(call, *call.item, list);
        return partial_failure(call, list);
    }
    m_store.remove(call.item->id, call.user);
    return http::make_response(204, "", "");
}

DavServer::Target DavServer::target_of(const Call& call) {
    auto destination = call.request.headers.get("Destination");
    if (destination.empty()) throw DavError(400, "The Destination header is missing.");
    auto [host, path] = split_address(destination);
    if (!host.empty() && !equals_ignoring_case(host, split_address(call.request.base_url).first))
        throw DavError(502, "The destination lies on another server.");
    Target target;
    target.path = percent_decode(path.substr(0, path.find('?')));
    if (!target.path.starts_with('/')) target.path.insert(0, "/");
    if (target.path.find('\0') != std::string::npos || !is_valid_utf8(target.path))
        throw DavError(400, "The Destination header can't be read.");
    while (target.path.size() > 1 && target.path.back() == '/') target.path.pop_back();
    target.overwrite = !equals_ignoring_case(trim(call.request.headers.get("Overwrite")), "F");
    target.existing = m_store.find(target.path);
    return target;
}

// Removes what is at the destination, unless a file replaces a file, which the store does itself.
void DavServer::clear_target(const Call& call, const Target& target) {
    bool replaced_by_store = !target.existing || (!target.existing->folder && !call.item->folder);
    if (!replaced_by_store) m_store.remove(target.existing->id, call.user);
}

// Throws when the operation isn't possible, before anything has changed.
void DavServer::require_possible(const Call& call, const Target& target, bool move) {
    bool same = target.replaces(*call.item) == Target::Replaces::itself;
    if ((same && (!move || target.path == call.item->path)) || lies_within(target.path, call.item->path) ||
        lies_within(call.item->path, target.path))
        throw DavError(403, "The source and the destination contain one another.");
    bool replaces = target.replaces(*call.item) == Target::Replaces::other;
    if (replaces && !target.overwrite) throw DavError(412, "'" + target.path + "' exists already.");
    auto parent = m_store.find(parent_of(target.path));
    if (!parent || !parent->folder)
        throw DavError(409, "The folder of the destination doesn't exist.", 589830);
    if (parent->library == 0) throw DavError(403, "Files and folders live in libraries.", 917656);
    if (move) require_in_library(*call.item);
    if (call.item->library == 0) throw DavError(403, "A site can't be copied.", 917656);
    if (replaces) require_in_library(*target.existing);
}

// The answer when something in the tree is locked or checked out; throws 423 for a file itself.
std::optional<http::Response> DavServer::blocked_answer(const Call& call, const Item& item) {
    auto list = blocked_in(call, item);
    if (list.empty()) return std::nullopt;
    if (!item.folder) require_unlocked(call, item);
    return partial_failure(call, list);
}

http::Response DavServer::move_or_copy(Call& call, bool move) {
    require_edit(call);
    require_item(call);
    auto target = target_of(call);
    require_conditions(call);
    require_possible(call, target, move);
    bool replaces = target.replaces(*call.item) == Target::Replaces::other;
    if (move)
        if (auto response = blocked_answer(call, *call.item)) return std::move(*response);
    if (replaces) {
        if (auto response = blocked_answer(call, *target.existing)) return std::move(*response);
        clear_target(call, target);
    }
    bool shallow = !move && call.item->folder && call.request.headers.get("Depth") == "0";
    if (shallow)
        m_store.create_folder(target.path, call.user);
    else if (move)
        m_store.move(call.item->id, target.path, true, call.user);
    else
        m_store.copy(call.item->id, target.path, true, call.user);
    auto response = http::make_response(replaces ? 204 : 201, "", "");
    response.headers.set("Location", writer_for(call).href(target.path));
    return response;
}

}  // namespace devserver::dav
