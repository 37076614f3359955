// Operations for tests under /_dev/: faults, the request log, and changes that other users make.
// Owner: app/service, only when asked for; any thread.
#pragma once
#include "admin/request_log.h"
#include "auth/digest.h"
#include "auth/oauth.h"
#include "auth/tickets.h"
#include "faults/plan.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver {

class Admin {
public:
    Admin(Store& store, Tickets& tickets, FaultPlan& faults, RequestLog& log, OAuthAuthority& authority,
          FormDigests& digests)
        : m_store(store),
          m_tickets(tickets),
          m_faults(faults),
          m_log(log),
          m_authority(authority),
          m_digests(digests) {}
    static bool Owns(const http::Request& request);
    http::Response Handle(http::Request& request);

private:
    http::Response faults(http::Request& request);
    http::Response requests(const http::Request& request);
    http::Response Write(http::Request& request);
    http::Response workflow(const http::Request& request, const std::string& operation);
    http::Response token(const http::Request& request);
    http::Response column(http::Request& request);
    http::Response document(const http::Request& request);

    Store& m_store;
    Tickets& m_tickets;
    FaultPlan& m_faults;
    RequestLog& m_log;
    OAuthAuthority& m_authority;
    FormDigests& m_digests;
};

}  // namespace devserver
