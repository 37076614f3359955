// Who sends a request: bearer tokens now, with room for other ways of signing in.
// Owner: auth/; any thread.
#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "auth/tickets.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver {

class Authenticator {
public:
    virtual ~Authenticator() = default;
    // The user, or nothing; then `challenge` makes the answer.
    virtual std::optional<User> authenticate(const http::Request& request) = 0;
    virtual http::Response challenge(const http::Request& request) = 0;
    // In the middle of an exchange with this connection, so that its challenge stands alone.
    virtual bool in_exchange(const http::Request&) const { return false; }
    // Adds to the answer of a request that was let in what its client still waits for.
    virtual void conclude(const http::Request&, http::Response&) {}
    // Ends what the connection has signed in to when a request brings credentials of another way.
    virtual void forget_other_ways(const http::Request&) {}
};

class BearerAuthenticator : public Authenticator {
public:
    BearerAuthenticator(Store& store, Tickets& tickets) : m_store(store), m_tickets(tickets) {}
    std::optional<User> authenticate(const http::Request& request) override;
    http::Response challenge(const http::Request& request) override;

private:
    Store& m_store;
    Tickets& m_tickets;
};

// The sign-in authority's constants, shared by challenge and token answers.
std::string realm_of(Store& store);
std::string bearer_token(const http::Request& request);

// What follows the scheme's name in the Authorization header; nothing for another scheme.
std::optional<std::string> credentials_of(const http::Request& request, std::string_view scheme);
http::Response unauthorized(const std::string& challenge);

}  // namespace devserver
