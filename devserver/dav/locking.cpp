// WebDAV's LOCK and UNLOCK: exclusive write locks on files, with timeouts and refresh.
// Owner: app/service; any thread.
#include <algorithm>

#include "base/clock.h"
#include "base/crypto.h"
#include "base/text.h"
#include "dav/dav_error.h"
#include "dav/dav_server.h"
#include "dav/properties.h"

namespace devserver::dav {
namespace {

constexpr int default_timeout = 600, longest_timeout = 86'400;

// The first timeout of the header that the server can give.
int timeout_of(const http::Request& request) {
    for (const auto& part : split(request.headers.get("Timeout"), ',')) {
        auto text = trim(part);
        if (equals_ignoring_case(text, "Infinite")) return longest_timeout;
        if (!starts_with_ignoring_case(text, "Second-")) continue;
        if (auto seconds = parse_integer(text.substr(7)))
            return static_cast<int>(std::clamp<std::int64_t>(*seconds, 1, longest_timeout));
    }
    return default_timeout;
}

}  // namespace

http::Response DavServer::lock_answer(const Call& call, const Item& item, const WriteLock& lock, int status) {
    auto text = "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:prop xmlns:D=\"DAV:\">" +
                writer_for(call).lock_discovery(item) + "</D:prop>";
    auto response = http::make_response(status, "text/xml; charset=utf-8", text);
    response.headers.set("Lock-Token", "<" + lock.token + ">");
    response.headers.set("X-MSDAVEXTLockTimeout", "Second-" + std::to_string(lock.timeout));
    return response;
}

http::Response DavServer::refresh_lock(Call& call) {
    require_item(call);
    auto lock = m_store.write_lock(call.item->id);
    auto token = call.conditions.first_token();
    if (token.empty()) throw DavError(400, "A refresh names its lock in the If header.");
    if (!lock || lock->token != token)
        throw DavError(412, "There is no such lock.", 0, "lock-token-matches-request-uri");
    if (lock->user != call.user.id) throw access_denied();
    lock->timeout = timeout_of(call.request);
    lock->expires = now() + lock->timeout;
    m_store.extend_write_lock(*lock);
    return lock_answer(call, *call.item, *lock, 200);
}

// There is at most one lock, so that even its owner gets no second one.
void DavServer::require_free_of_locks(const Call& call) {
    if (auto lock = m_store.write_lock(call.item->id))
        throw locked(call.path, m_store.login_of(lock->user), false);
}

http::Response DavServer::lock(Call& call) {
    require_edit(call);
    auto body = http::read_text(call.request, 1 << 20);
    if (trim(body).empty()) return refresh_lock(call);
    pugi::xml_document document;
    auto root = parse_body(document, body, "lockinfo");
    if (!xml::child(xml::child(root, "lockscope"), "exclusive"))
        throw DavError(412, "Locks are exclusive here.");
    if (call.item && call.item->folder) throw DavError(405, "A folder can't be locked.");
    if (call.trailing_slash) throw DavError(409, "A folder can't be locked.");
    require_conditions(call);
    int status = 200;
    if (call.item) {
        require_free_of_locks(call);
        require_unlocked(call, *call.item);
    } else {
        call.item = m_store.add_file(call.path, m_store.blobs().create(), call.user, false);
        status = 201;
    }
    WriteLock record;
    record.token = lock_token(random_guid(), now());
    record.item = call.item->id;
    record.user = call.user.id;
    record.owner = std::string(trim(xml::content_of(xml::child(root, "owner"))));
    record.timeout = timeout_of(call.request);
    record.expires = now() + record.timeout;
    if (!m_store.add_write_lock(record)) require_free_of_locks(call);
    return lock_answer(call, *call.item, record, status);
}

http::Response DavServer::unlock(Call& call) {
    require_edit(call);
    require_item(call);
    auto token = std::string(trim(call.request.headers.get("Lock-Token")));
    if (token.empty()) throw DavError(400, "The Lock-Token header is missing.");
    if (token.starts_with('<') && token.ends_with('>')) token = token.substr(1, token.size() - 2);
    if (call.item->checked_out_by != 0 && token == check_out_token(*call.item))
        throw DavError(403, "A check-out ends with a check-in.", 589838);
    auto lock = m_store.write_lock(call.item->id);
    if (!lock || lock->token != token)
        throw DavError(409, "There is no such lock.", 0, "lock-token-matches-request-uri");
    if (lock->user != call.user.id) throw access_denied();
    m_store.drop_write_lock(call.item->id);
    return http::make_response(204, "", "");
}

}  // namespace devserver::dav
