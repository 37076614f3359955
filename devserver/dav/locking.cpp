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

constexpr int kDefaultTimeout = 600, kLongestTimeout = 86'400;

// The first timeout of the header that the server can give.
int TimeoutOf(const http::Request& request) {
    for (const auto& part : Split(request.headers.get("Timeout"), ',')) {
        auto text = Trim(part);
        if (EqualsIgnoringCase(text, "Infinite")) return kLongestTimeout;
        if (!StartsWithIgnoringCase(text, "Second-")) continue;
        if (auto seconds = ParseInteger(text.substr(7)))
            return static_cast<int>(std::clamp<std::int64_t>(*seconds, 1, kLongestTimeout));
    }
    return kDefaultTimeout;
}

}  // namespace

http::Response DavServer::LockAnswer(const Call& call, const Item& item, const WriteLock& lock, int status) {
    auto text = "<?xml version=\"1.0\" encoding=\"utf-8\" ?><D:prop xmlns:D=\"DAV:\">" +
                WriterFor(call).LockDiscovery(item) + "</D:prop>";
    auto response = http::MakeResponse(status, "text/xml; charset=utf-8", text);
    response.headers.Set("Lock-Token", "<" + lock.token + ">");
    response.headers.Set("X-MSDAVEXTLockTimeout", "Second-" + std::to_string(lock.timeout));
    return response;
}

http::Response DavServer::RefreshLock(Call& call) {
    RequireItem(call);
    auto lock = m_store.FindWriteLock(call.item->id);
    auto token = call.conditions.FirstToken();
    if (token.empty()) throw DavError(400, "A refresh names its lock in the If header.");
    if (!lock || lock->token != token)
        throw DavError(412, "There is no such lock.", 0, "lock-token-matches-request-uri");
    if (lock->user != call.user.id) throw AccessDenied();
    lock->timeout = TimeoutOf(call.request);
    lock->expires = Now() + lock->timeout;
    m_store.ExtendWriteLock(*lock);
    return LockAnswer(call, *call.item, *lock, 200);
}

// There is at most one lock, so that even its owner gets no second one.
void DavServer::RequireFreeOfLocks(const Call& call) {
    if (auto lock = m_store.FindWriteLock(call.item->id))
        throw Locked(call.path, m_store.LoginOf(lock->user), false);
}

http::Response DavServer::Lock(Call& call) {
    RequireEdit(call);
    auto body = http::ReadText(call.request, 1 << 20);
    if (Trim(body).empty()) return RefreshLock(call);
    pugi::xml_document document;
    auto root = ParseBody(document, body, "lockinfo");
    if (!xml::Child(xml::Child(root, "lockscope"), "exclusive"))
        throw DavError(412, "Locks are exclusive here.");
    if (call.item && call.item->folder) throw DavError(405, "A folder can't be locked.");
    if (call.trailing_slash) throw DavError(409, "A folder can't be locked.");
    RequireConditions(call);
    int status = 200;
    if (call.item) {
        RequireFreeOfLocks(call);
        RequireUnlocked(call, *call.item);
    } else {
        call.item = m_store.AddFile(call.path, m_store.blobs().Create(), call.user, false);
        status = 201;
    }
    WriteLock record;
    record.token = LockToken(RandomGuid(), Now());
    record.item = call.item->id;
    record.user = call.user.id;
    record.owner = std::string(Trim(xml::ContentOf(xml::Child(root, "owner"))));
    record.timeout = TimeoutOf(call.request);
    record.expires = Now() + record.timeout;
    if (!m_store.AddWriteLock(record)) RequireFreeOfLocks(call);
    return LockAnswer(call, *call.item, record, status);
}

http::Response DavServer::Unlock(Call& call) {
    RequireEdit(call);
    RequireItem(call);
    auto token = std::string(Trim(call.request.headers.get("Lock-Token")));
    if (token.empty()) throw DavError(400, "The Lock-Token header is missing.");
    if (token.starts_with('<') && token.ends_with('>')) token = token.substr(1, token.size() - 2);
    if (call.item->checked_out_by != 0 && token == CheckOutToken(*call.item))
        throw DavError(403, "A check-out ends with a check-in.", 589838);
    auto lock = m_store.FindWriteLock(call.item->id);
    if (!lock || lock->token != token)
        throw DavError(409, "There is no such lock.", 0, "lock-token-matches-request-uri");
    if (lock->user != call.user.id) throw AccessDenied();
    m_store.DropWriteLock(call.item->id);
    return http::MakeResponse(204, "", "");
}

}  // namespace devserver::dav
