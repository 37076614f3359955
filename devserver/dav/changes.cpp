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

std::string ParentOf(const std::string& path) {
    auto slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool LiesWithin(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && StartsWithIgnoringCase(path, folder) && path[folder.size()] == '/';
}

}  // namespace

http::Response DavServer::put(Call& call) {
    RequireEdit(call);
    if (call.trailing_slash || (call.item && call.item->folder))
        throw DavError(405, "A folder can't be written.");
    RequireConditions(call);
    if (call.item) RequireUnlocked(call, *call.item);
    if (call.request.headers.Has("Content-Range")) throw DavError(400, "Parts of a file can't be written.");
    auto parent = m_store.Find(ParentOf(call.path));
    if (!parent || !parent->folder)
        throw DavError(409, "The folder of '" + call.path + "' doesn't exist.", 589830);
    auto content = m_store.blobs().Create();
    if (call.request.HasBody()) content->WriteAll(*call.request.body);
    auto item = m_store.AddFile(call.path, std::move(content), call.user, true);
    http::Response response;
    response.status = call.item ? 200 : 201;
    response.headers.Set("ETag", EtagOf(item));
    response.headers.Set("Last-Modified", HttpDate(item.modified));
    response.headers.Set("ResourceTag", ResourceTagOf(item));
    if (!call.item) response.headers.Set("Location", WriterFor(call).href(item.path));
    return response;
}

http::Response DavServer::MakeCollection(Call& call) {
    RequireEdit(call);
    if (call.request.HasBody()) throw DavError(415, "MKCOL takes no body.");
    if (call.item) throw DavError(405, "'" + call.path + "' exists already.");
    RequireConditions(call);
    auto item = m_store.CreateFolder(call.path, call.user);
    auto response = http::MakeResponse(201, "", "");
    response.headers.Set("Location", WriterFor(call).href(item.path));
    return response;
}

void DavServer::RequireInLibrary(const Item& item) {
    auto library = m_store.library(item.library);
    if (!library || library->root_item == item.id)
        throw DavError(403, "A site or a library can't be moved, replaced or deleted.", 917656);
}

// Removes all items but those in the list and the folders above them.
void DavServer::RemoveFreeParts(const Call& call, const Item& item, const std::vector<Blocked>& list) {
    bool stays = std::ranges::any_of(
        list, [&](const Blocked& one) { return one.path == item.path || LiesWithin(one.path, item.path); });
    if (!stays) return m_store.Remove(item.id, call.user);
    if (!item.folder) return;
    for (bool folders : {false, true})
        for (const auto& child : m_store.children(item, folders)) RemoveFreeParts(call, child, list);
}

http::Response DavServer::Remove(Call& call) {
    RequireEdit(call);
    RequireItem(call);
    if (!call.item->folder && call.trailing_slash) throw NotFound(call.path + "/");
    RequireInLibrary(*call.item);
    RequireConditions(call);
    auto list = BlockedIn(call, *call.item);
    if (!list.empty() && !call.item->folder) RequireUnlocked(call, *call.item);
    if (!list.empty()) {
        RemoveFreeParts(call, *call.item, list);
        return PartialFailure(call, list);
    }
    m_store.Remove(call.item->id, call.user);
    return http::MakeResponse(204, "", "");
}

DavServer::Target DavServer::TargetOf(const Call& call) {
    auto destination = call.request.headers.get("Destination");
    if (destination.empty()) throw DavError(400, "The Destination header is missing.");
    auto [host, path] = SplitAddress(destination);
    if (!host.empty() && !EqualsIgnoringCase(host, SplitAddress(call.request.base_url).first))
        throw DavError(502, "The destination lies on another server.");
    Target target;
    target.path = PercentDecode(path.substr(0, path.find('?')));
    if (!target.path.starts_with('/')) target.path.insert(0, "/");
    if (target.path.find('\0') != std::string::npos || !IsValidUtf8(target.path))
        throw DavError(400, "The Destination header can't be read.");
    while (target.path.size() > 1 && target.path.back() == '/') target.path.pop_back();
    target.overwrite = !EqualsIgnoringCase(Trim(call.request.headers.get("Overwrite")), "F");
    target.existing = m_store.Find(target.path);
    return target;
}

// Removes what is at the destination, unless a file replaces a file, which the store does itself.
void DavServer::ClearTarget(const Call& call, const Target& target) {
    bool replaced_by_store = !target.existing || (!target.existing->folder && !call.item->folder);
    if (!replaced_by_store) m_store.Remove(target.existing->id, call.user);
}

// Throws when the operation isn't possible, before anything has changed.
void DavServer::RequirePossible(const Call& call, const Target& target, bool move) {
    bool same = target.Replaces(*call.item) == Target::Replaces::itself;
    if ((same && (!move || target.path == call.item->path)) || LiesWithin(target.path, call.item->path) ||
        LiesWithin(call.item->path, target.path))
        throw DavError(403, "The source and the destination contain one another.");
    bool replaces = target.Replaces(*call.item) == Target::Replaces::other;
    if (replaces && !target.overwrite) throw DavError(412, "'" + target.path + "' exists already.");
    auto parent = m_store.Find(ParentOf(target.path));
    if (!parent || !parent->folder)
        throw DavError(409, "The folder of the destination doesn't exist.", 589830);
    if (parent->library == 0) throw DavError(403, "Files and folders live in libraries.", 917656);
    if (move) RequireInLibrary(*call.item);
    if (call.item->library == 0) throw DavError(403, "A site can't be copied.", 917656);
    if (replaces) RequireInLibrary(*target.existing);
}

// The answer when something in the tree is locked or checked out; throws 423 for a file itself.
std::optional<http::Response> DavServer::BlockedAnswer(const Call& call, const Item& item) {
    auto list = BlockedIn(call, item);
    if (list.empty()) return std::nullopt;
    if (!item.folder) RequireUnlocked(call, item);
    return PartialFailure(call, list);
}

http::Response DavServer::MoveOrCopy(Call& call, bool move) {
    RequireEdit(call);
    RequireItem(call);
    auto target = TargetOf(call);
    RequireConditions(call);
    RequirePossible(call, target, move);
    bool replaces = target.Replaces(*call.item) == Target::Replaces::other;
    if (move)
        if (auto response = BlockedAnswer(call, *call.item)) return std::move(*response);
    if (replaces) {
        if (auto response = BlockedAnswer(call, *target.existing)) return std::move(*response);
        ClearTarget(call, target);
    }
    bool shallow = !move && call.item->folder && call.request.headers.get("Depth") == "0";
    if (shallow) {
        m_store.CreateFolder(target.path, call.user);
    } else if (move) {
        m_store.Move(call.item->id, target.path, true, call.user);
    } else {
        m_store.Copy(call.item->id, target.path, true, call.user);
    }
    auto response = http::MakeResponse(replaces ? 204 : 201, "", "");
    response.headers.Set("Location", WriterFor(call).href(target.path));
    return response;
}

}  // namespace devserver::dav
