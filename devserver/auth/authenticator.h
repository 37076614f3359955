// The interface of a way of signing in, and the one by bearer tokens.
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
    // The user; nothing when `challenge` has to make the answer.
    virtual std::optional<User> authenticate(const http::Request& request) = 0;
    virtual http::Response challenge(const http::Request& request) = 0;
    // Whether an exchange with this connection is going on, so that the answer has its challenge alone.
    virtual bool in_exchange(const http::Request&) const { return false; }
    // Adds what the client still waits for to the answer of a request that was accepted.
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

// The realm of challenges and token answers.
std::string realm_of(Store& store);
std::string bearer_token(const http::Request& request);

// What follows the scheme's name in the Authorization header; nothing for another scheme.
std::optional<std::string> credentials_of(const http::Request& request, std::string_view scheme);
http::Response unauthorized(const std::string& challenge);

}  // namespace devserver
