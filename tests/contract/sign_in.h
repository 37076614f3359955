// How the users of the contract's tests sign in to an older server: by password, or where uploads can't carry
// one by cookies.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "http/session.h"
#include "tests/support/dev_server.h"

namespace contract {

// Options of a server that takes this way of signing in.
std::vector<std::string> OlderServerOptions();

// Brings the session what signs the user in.
void SignIn(Http::Session& session, const testing_support::DevServer& server, const std::string& user);
Http::Session::Credentials CredentialsOf(const std::string& user);

}  // namespace contract
