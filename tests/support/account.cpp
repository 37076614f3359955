#include "tests/support/account.h"

#include <stdexcept>

#include "host/base/host_objects.h"
#include "host/base/text.h"

namespace testing_support {

Login LoginOf(const DevServer& server, const std::string& user) {
    if (server.IsModern()) return {.token = server.Token(user)};
    return {.is_modern = false, .user = user, .password = user};
}

TestAccount MakeAccount(host::Host& host, const std::string& url, const Login& login) {
    TestAccount made;
    made.tree = std::make_shared<host::SettingsTree>();
    const auto file_system = host.FileSystem();
    // An empty tree comes back with the items of the plug-in's own template.
    host::Accounts::Restore(file_system.get(), *made.tree);
    const auto cab = made.tree->View();
    const auto put_secret = [&](const char16_t* item, const std::string& value) {
        if (!value.empty()) host::PutString(cab.get(), item, host.EncryptForPlugin(host::ToUtf16(value)));
    };
    host::PutString(cab.get(), u"Url", host::ToUtf16(url));
    put_secret(u"AuthToken", login.token);
    put_secret(u"User", login.user);
    put_secret(u"Password", login.password);
    Require(host::ChildOf(cab.get(), u"APIVer")->put_v(Variant(LONG{login.is_modern})), "APIVer");
    made.account = host::Accounts::Restore(file_system.get(), *made.tree);
    return made;
}

void Require(HRESULT result, const std::string& what) {
    if (FAILED(result)) throw std::runtime_error(what + " failed: " + host::FormatResult(result));
}

}  // namespace testing_support
