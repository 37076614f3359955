// Signing in with name and password: Basic (RFC 7617) and Digest (RFC 7616, quality of protection "auth").
// Owner: auth/; any thread.
#pragma once
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "auth/authenticator.h"
#include "base/clock.h"

namespace devserver {

// A user by the names that people type: "alice", "DOMAIN\alice", "alice@domain" and the login itself.
std::optional<User> UserByTypedName(Store& store, const std::string& name);

class BasicAuthenticator : public Authenticator {
public:
    explicit BasicAuthenticator(Store& store) : m_store(store) {}
    std::optional<User> Authenticate(const http::Request& request) override;
    http::Response Challenge(const http::Request& request) override;

private:
    Store& m_store;
};

// A nonce is its time and a keyed hash of it, so that it survives a restart; each count of a nonce is taken
// once.
class DigestAuthenticator : public Authenticator {
public:
    explicit DigestAuthenticator(Store& store) : m_store(store) {}
    std::optional<User> Authenticate(const http::Request& request) override;
    http::Response Challenge(const http::Request& request) override;

private:
    using Fields = std::map<std::string, std::string>;
    enum class Nonce { fresh, stale, foreign };

    std::string MakeNonce();
    Nonce CheckNonce(const std::string& nonce);
    bool TakeCount(const std::string& nonce, const std::string& count);
    std::string ExpectedResponse(const http::Request& request, const Fields& fields, const User& user) const;

    Store& m_store;
    std::mutex m_mutex;
    std::uint64_t m_made = 0;
    std::map<std::string, std::set<std::string>> m_counts;  // by nonce
};

}  // namespace devserver
