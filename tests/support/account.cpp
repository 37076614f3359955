#include "tests/support/account.h"

#include <stdexcept>

#include "host/base/host_objects.h"
#include "host/base/text.h"

namespace testing_support {

namespace {

std::string HeaderOf(const std::string& cookies) {
    return cookies.empty() ? "" : "Cookie: " + cookies + "\n";
}

}  // namespace

Login LoginOf(const DevServer& server, const std::string& user) {
    if (server.IsModern()) return {.token = server.Token(user)};
    return {.is_modern = false, .user = user, .password = user};
}

Login FormsLoginOf(const DevServer& server, const std::string& user) {
    const HttpAnswer answer = Http({.method = "POST",
                                    .url = server.Origin() + "/_forms/default.aspx",
                                    .body = "username=" + user + "&password=" + user});
    Login login{.is_modern = false};
    const auto [first, last] = answer.headers.equal_range("set-cookie");
    for (auto header = first; header != last; ++header) {
        if (!login.cookies.empty()) login.cookies += "; ";
        login.cookies += header->second.substr(0, header->second.find(';'));
    }
    if (login.cookies.empty()) throw std::runtime_error("no cookies for " + user);
    return login;
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
                                                       .auth_header = encipher(HeaderOf(login.cookies)),
                                                       .is_modern = login.is_modern});
    return {made.data, made.account};
}

void Require(HRESULT result, const std::string& what) {
    if (FAILED(result)) throw std::runtime_error(what + " failed: " + host::FormatResult(result));
}

}  // namespace testing_support
