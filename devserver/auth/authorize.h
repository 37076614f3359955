// The authorization endpoint of the OAuth authority: a page that redirects with a code (RFC 6749 4.1), bound
// to the client's proof (RFC 7636) and to the client's own machine (RFC 8252 7.3). Owner: auth/oauth; any
// thread.
#pragma once
#include <optional>
#include <string>

#include "auth/tickets.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver {

class AuthorizePage {
public:
    // With `approve_user` the page is left out.
    AuthorizePage(Store& store, Tickets& tickets, std::string approve_user)
        : m_store(store), m_tickets(tickets), m_approve_user(std::move(approve_user)) {}
    http::Response Handle(http::Request& request);
    // The grant of a code for this verifier; each code can be tried once.
    std::optional<AuthorizationCode> Redeem(const std::string& code, const std::string& verifier);

private:
    http::Response GiveCode(AuthorizationCode grant, const User& user, const std::string& state);

    Store& m_store;
    Tickets& m_tickets;
    const std::string m_approve_user;
};

}  // namespace devserver
