// WebDAV on every document's and folder's own address, by RFC 4918 and such servers' own extensions.
// Owner: app/service; any thread.
#pragma once
#include "base/generation.h"
#include "content/documents.h"
#include "dav/if_header.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver::dav {

class PropertyWriter;

struct DavOptions {
    bool relative_hrefs = false;  // hrefs without scheme and host
};

class DavServer {
public:
    DavServer(Store& store, DocumentPages& pages, DavOptions options)
        : m_store(store), m_pages(pages), m_options(options) {}
    http::Response Handle(http::Request& request, const User& user);

private:
    // One request: what it is about and what it carries.
    struct Call {
        http::Request& request;
        const User& user;
        std::string path;  // decoded, no slash at its end
        bool trailing_slash = false;
        std::optional<Item> item;
        IfHeader conditions;
    };
    // A locked or checked out item that an operation would change.
    struct Blocked {
        std::string path, login;
        bool checked_out = false;
    };
    // Where a MOVE or COPY goes.
    struct Target {
        std::string path;
        std::optional<Item> existing;
        bool overwrite = true;
        enum class Replaces { nothing, itself, other };
        Replaces Replaces(const Item& source) const {
            if (!existing) return Replaces::nothing;
            return existing->id == source.id ? Replaces::itself : Replaces::other;
        }
    };

    http::Response Dispatch(Call& call);
    http::Response options(const Call& call);
    http::Response Propfind(Call& call);
    http::Response Proppatch(Call& call);
    http::Response put(Call& call);
    http::Response MakeCollection(Call& call);
    http::Response Remove(Call& call);
    http::Response MoveOrCopy(Call& call, bool move);
    http::Response Lock(Call& call);
    http::Response Unlock(Call& call);
    http::Response LibraryOf(const Call& call);

    void RequireEdit(const Call& call) const;
    void RequireItem(const Call& call) const;
    void RequireConditions(const Call& call);
    // Throws 423 for a check-out or lock of another user, or a lock whose token the client doesn't send.
    void RequireUnlocked(const Call& call, const Item& item);
    std::optional<Blocked> FindBlocked(const Call& call, const Item& item);
    std::vector<Blocked> BlockedIn(const Call& call, const Item& item);
    void RemoveFreeParts(const Call& call, const Item& item, const std::vector<Blocked>& blocked);
    Target TargetOf(const Call& call);
    void RequirePossible(const Call& call, const Target& target, bool move);
    std::optional<http::Response> BlockedAnswer(const Call& call, const Item& item);
    void ClearTarget(const Call& call, const Target& target);
    PropertyWriter WriterFor(const Call& call);
    http::Response PartialFailure(const Call& call, const std::vector<Blocked>& blocked);
    // Throws 403 for sites and libraries themselves.
    void RequireInLibrary(const Item& item);
    void RequireFreeOfLocks(const Call& call);
    http::Response RefreshLock(Call& call);
    http::Response LockAnswer(const Call& call, const Item& item, const WriteLock& lock, int status);

    Store& m_store;
    DocumentPages& m_pages;
    DavOptions m_options;
};

}  // namespace devserver::dav
