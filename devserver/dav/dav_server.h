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
    http::Response handle(http::Request& request, const User& user);

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
        Replaces replaces(const Item& source) const {
            if (!existing) return Replaces::nothing;
            return existing->id == source.id ? Replaces::itself : Replaces::other;
        }
    };

    http::Response dispatch(Call& call);
    http::Response options(const Call& call);
    http::Response propfind(Call& call);
    http::Response proppatch(Call& call);
    http::Response put(Call& call);
    http::Response make_collection(Call& call);
    http::Response remove(Call& call);
    http::Response move_or_copy(Call& call, bool move);
    http::Response lock(Call& call);
    http::Response unlock(Call& call);
    http::Response library_of(const Call& call);

    void require_edit(const Call& call) const;
    void require_item(const Call& call) const;
    void require_conditions(const Call& call);
    // Throws 423 for a check-out or lock of another user, or a lock whose token the client doesn't send.
    void require_unlocked(const Call& call, const Item& item);
    std::optional<Blocked> blocked(const Call& call, const Item& item);
    std::vector<Blocked> blocked_in(const Call& call, const Item& item);
    void remove_free_parts(const Call& call, const Item& item, const std::vector<Blocked>& blocked);
    Target target_of(const Call& call);
    void require_possible(const Call& call, const Target& target, bool move);
    std::optional<http::Response> blocked_answer(const Call& call, const Item& item);
    void clear_target(const Call& call, const Target& target);
    PropertyWriter writer_for(const Call& call);
    http::Response partial_failure(const Call& call, const std::vector<Blocked>& blocked);
    // Throws 403 for sites and libraries themselves.
    void require_in_library(const Item& item);
    void require_free_of_locks(const Call& call);
    http::Response refresh_lock(Call& call);
    http::Response lock_answer(const Call& call, const Item& item, const WriteLock& lock, int status);

    Store& m_store;
    DocumentPages& m_pages;
    DavOptions m_options;
};

}  // namespace devserver::dav
