#include <stdexcept>

#include "base/text/encoding.h"
#include "tests/contract/sign_in.h"

namespace contract {

std::vector<std::string> OlderServerOptions() {
    return {"--auth", "forms"};
}

void SignIn(Http::Session& session, const testing_support::DevServer& server, const std::string& user) {
    const auto answer = testing_support::Http({.method = "POST",
                                               .url = server.Origin() + "/_forms/default.aspx",
                                               .body = "username=" + user + "&password=" + user});
    Http::CookieList cookies;
    const auto [first, last] = answer.headers.equal_range("set-cookie");
    for (auto header = first; header != last; ++header) {
        const std::string cookie = header->second.substr(0, header->second.find(';'));
        const std::size_t equals = cookie.find('=');
        cookies.emplace_back(FromUtf8(cookie.substr(0, equals)), FromUtf8(cookie.substr(equals + 1)));
    }
    if (cookies.empty()) throw std::runtime_error("no cookies for " + user);
    session.SetCookies(std::move(cookies));
}

Http::Session::Credentials CredentialsOf(const std::string&) {
    return {};
}

}  // namespace contract
