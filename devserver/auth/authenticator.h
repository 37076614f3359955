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
    virtual std::optional<User> Authenticate(const http::Request& request) = 0;
    virtual http::Response Challenge(const http::Request& request) = 0;
    // Whether an exchange with this connection is going on, so that the answer has its challenge alone.
    virtual bool InExchange(const http::Request&) const { return false; }
    // Adds what the client still waits for to the answer of a request that was accepted.
    virtual void Conclude(const http::Request&, http::Response&) {}
    // Ends what the connection has signed in to when a request brings credentials of another way.
    virtual void ForgetOtherWays(const http::Request&) {}
};

class BearerAuthenticator : public Authenticator {
public:
    BearerAuthenticator(Store& store, Tickets& tickets) : m_store(store), m_tickets(tickets) {}
    std::optional<User> Authenticate(const http::Request& request) override;
    http::Response Challenge(const http::Request& request) override;

private:
    Store& m_store;
    Tickets& m_tickets;
};

// The realm of challenges and token answers.
std::string RealmOf(Store& store);
std::string BearerToken(const http::Request& request);

// What follows the scheme's name in the Authorization header; nothing for another scheme.
std::optional<std::string> CredentialsOf(const http::Request& request, std::string_view scheme);
http::Response Unauthorized(const std::string& challenge);

}  // namespace devserver
