// The OAuth authority: device codes, tokens, and the page on which a person approves a device.
// Owner: app/service; any thread.
#pragma once
#include <optional>
#include <string>

#include "auth/authorize.h"
#include "auth/tickets.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver {

struct OAuthOptions {
    std::string approve_user;  // device codes and sign-ins are approved for this user at once
    int token_lifetime = 3600;
    int device_code_lifetime = 900;
    int poll_interval = 1;
};

class OAuthAuthority {
public:
    OAuthAuthority(Store& store, Tickets& tickets, const OAuthOptions& options)
        : m_store(store),
          m_tickets(tickets),
          m_options(options),
          m_authorize(store, tickets, options.approve_user) {}
    // Nothing for a path that isn't the authority's.
    std::optional<http::Response> Handle(http::Request& request);
    std::string IssueAccessToken(const User& user, const std::string& scope, const std::string& client,
                                 std::optional<int> lifetime = {});

private:
    http::Response configuration(const http::Request& request) const;
    http::Response IssueDeviceCode(http::Request& request);
    http::Response token(http::Request& request);
    http::Response LoginPage(http::Request& request);
    http::Response RedeemCode(const QueryParameters& form);
    http::Response RedeemDeviceCode(const QueryParameters& form);
    http::Response RedeemRefreshToken(const QueryParameters& form);
    http::Response RedeemPassword(const QueryParameters& form);
    http::Response Grant(const User& user, const std::string& scope, const std::string& client);

    Store& m_store;
    Tickets& m_tickets;
    const OAuthOptions m_options;
    AuthorizePage m_authorize;
};

}  // namespace devserver
