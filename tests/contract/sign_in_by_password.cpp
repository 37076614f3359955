#include "base/text/encoding.h"
#include "tests/contract/sign_in.h"

namespace contract {

std::vector<std::string> OlderServerOptions() {
    return {};
}

void SignIn(Http::Session&, const testing_support::DevServer&, const std::string&) {}

Http::Session::Credentials CredentialsOf(const std::string& user) {
    return {FromUtf8(user), FromUtf8(user)};
}

}  // namespace contract
