// The ways of signing in that a site offers, tried in turn.
// Owner: app/service; any thread.
#pragma once
#include <memory>
#include <string>
#include <vector>

#include "auth/authenticator.h"

namespace devserver {

class SignIn : public Authenticator {
public:
    // Names of schemes: bearer, basic, digest, ntlm, negotiate. Throws std::invalid_argument with one clear
    // line.
    SignIn(Store& store, const std::vector<std::string>& schemes);
    std::optional<User> authenticate(const http::Request& request) override;
    // The first scheme's answer, with a WWW-Authenticate header for each; in the middle of an exchange that
    // scheme's alone.
    http::Response challenge(const http::Request& request) override;

private:
    std::vector<std::unique_ptr<Authenticator>> m_schemes;
};

// Adds the WWW-Authenticate headers of one answer to another.
void add_challenges(const http::Response& from, http::Response& to);

}  // namespace devserver
