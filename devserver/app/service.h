// The server as one HTTP application: faults, sign-in, protocols, admin operations, request log.
// Owner: app/main; called from every connection's thread.
#pragma once
#include <memory>

#include "admin/admin.h"
#include "admin/request_log.h"
#include "app/options.h"
#include "app/protocol_router.h"
#include "auth/authenticator.h"
#include "auth/digest.h"
#include "auth/oauth.h"
#include "auth/sign_in.h"
#include "auth/tickets.h"
#include "faults/plan.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver {

class Service : public http::Application {
public:
    Service(const Options& options, Store& store);

    bool StallConnection() override;
    http::WirePlan plan(http::Request& request) override;
    http::Response Handle(http::Request& request) override;
    void finished(const http::Request& request, const http::ExchangeResult& result) override;

private:
    http::Response Serve(http::Request& request);
    http::Response ServeGuarded(http::Request& request);

    Store& m_store;
    Tickets m_tickets;
    RequestLog m_log;
    FaultPlan m_faults;
    FormDigests m_digests;
    SignIn m_authenticator;
    OAuthAuthority m_authority;
    Generation m_generation;
    ProtocolRouter m_router;
    std::unique_ptr<Admin> m_admin;
};

}  // namespace devserver
