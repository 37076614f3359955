#include "tests/support/account.h"

#include <stdexcept>

#include "host/base/host_objects.h"
#include "host/base/text.h"

namespace testing_support {

Login LoginOf(const DevServer& server, const std::string& user) {
    if (server.IsModern()) return {.token = server.Token(user)};
    return {.is_modern = false, .user = user, .password = user};
}

TestAccount MakeAccount(TestHost& host, const std::string& url, const Login& login) {
    const auto encipher = [&](const std::string& text) {
        return text.empty() ? std::u16string() : host.EncryptForPlugin(host::ToUtf16(text));
    };
    const host::StoredAccount made =
        host::Accounts::Make(host.FileSystem().get(), {.url = host::ToUtf16(url),
                                                       .user = encipher(login.user),
                                                       .password = encipher(login.password),
                                                       .token = encipher(login.token),
                                                       .is_modern = login.is_modern});
    return {made.data, made.account};
}

void Require(HRESULT result, const std::string& what) {
    if (FAILED(result)) throw std::runtime_error(what + " failed: " + host::FormatResult(result));
}

}  // namespace testing_support
