// Signing in by an exchange of tokens with one connection: NTLM and Negotiate over HTTP (RFC 4559, MS-NTHT),
// through GSS-API and whichever mechanisms this machine has. What a connection has signed in to holds for it
// until another Authorization header comes.
// Owner: auth/; any thread.
#pragma once
#include <string>

#include "auth/authenticator.h"

namespace devserver {

class NegotiateAuthenticator : public Authenticator {
public:
    // `scheme` is "NTLM" or "Negotiate".
    NegotiateAuthenticator(Store& store, std::string scheme) : m_store(store), m_scheme(std::move(scheme)) {}
    std::optional<User> authenticate(const http::Request& request) override;
    http::Response challenge(const http::Request& request) override;
    bool in_exchange(const http::Request& request) const override;

private:
    Store& m_store;
    const std::string m_scheme;
};

// Tells the mechanism for NTLM who the users are, by a file of mode 0600 in `folder`. Before the first thread
// starts. Throws std::runtime_error when the file can't be written.
void give_users_to_ntlm(Store& store, const std::string& folder);

}  // namespace devserver
