#include "auth/forms.h"

#include <algorithm>

#include "auth/pages.h"
#include "auth/password.h"
#include "base/clock.h"
#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr char kSignInPath[] = "/_forms/default.aspx";
constexpr char kReturnPath[] = "/_layouts/15/error.aspx";
constexpr char kTokenKind[] = "forms";
constexpr char kEepBox[] =
    "<p><label><input type=\"checkbox\" name=\"keep\" value=\"1\" checked> Keep me signed in</label></p>";

std::string CookieOf(const http::Request& request, std::string_view name) {
    for (const auto& [field, text] : request.headers.all()) {
        if (!EqualsIgnoringCase(field, "Cookie")) continue;
        for (const auto& pair : Split(text, ';')) {
            auto cookie = Trim(pair);
            if (cookie.size() > name.size() && cookie.starts_with(name) && cookie[name.size()] == '=')
                return std::string(cookie.substr(name.size() + 1));
        }
    }
    return {};
}

// An address of this server in characters that a header may hold; the default page for any other.
std::string CheckedReturn(const http::Request& request, std::string target) {
    if (target.starts_with(request.base_url + "/")) target.erase(0, request.base_url.size());
    bool is_local =
        target.starts_with("/") && !target.starts_with("//") &&
        std::ranges::all_of(target, [](unsigned char c) { return c > ' ' && c != '\\' && c < 127; });
    return is_local ? target : kReturnPath;
}

bool IsBrowser(const http::Request& request) {
    return request.method == "GET" && !request.headers.Has("X-FORMS_BASED_AUTH_ACCEPTED") &&
           FindIgnoringCase(request.headers.get("User-Agent"), "Mozilla") != std::string::npos &&
           FindIgnoringCase(request.headers.get("Accept"), "text/html") != std::string::npos;
}

http::Response Redirect(const std::string& location) {
    auto response = http::MakeResponse(302, "text/html; charset=utf-8", "");
    response.headers.Set("Location", location);
    response.headers.Set("Cache-Control", "no-store");
    return response;
}

std::string PageAddress(const std::string& return_to) {
    return std::string(kSignInPath) + "?ReturnUrl=" + PercentEncode(return_to, "-_.~/");
}

// Without a time the cookie lasts as long as the browser runs.
std::string CookieEnd(const http::Request& request, std::optional<Seconds> expires) {
    return (expires ? "; expires=" + HttpDate(*expires) : "") + "; path=/; HttpOnly" +
           (request.base_url.starts_with("https:") ? "; secure" : "");
}

}  // namespace

http::Response FormsChallenge(const http::Request& request, bool with_return_url) {
    auto response = http::Forbidden();
    response.headers.Set("X-Forms_Based_Auth_Required", request.base_url + PageAddress(kReturnPath));
    if (with_return_url)
        response.headers.Set("X-Forms_Based_Auth_Return_Url", request.base_url + kReturnPath);
    response.headers.Set("X-Forms_Based_Auth_Dialog_Size", "800x600");
    response.headers.Set(
        "X-MSDAVEXT_Error",
        "917656; Access+denied.+Before+opening+files+in+this+location%2c+you+must+first+browse+to+"
        "the+web+site+and+select+the+option+to+login+automatically.");
    return response;
}

std::optional<User> FormsAuthenticator::Authenticate(const http::Request& request) {
    auto value = CookieOf(request, "FedAuth");
    if (value.empty()) return std::nullopt;
    auto token = m_tickets.token(value, kTokenKind);
    if (!token || token->expires <= Now()) return std::nullopt;
    return m_store.UserById(token->user);
}

http::Response FormsAuthenticator::Challenge(const http::Request& request) {
    if (IsBrowser(request)) return Redirect(request.base_url + PageAddress(request.target));
    return FormsChallenge(request, m_options.return_url);
}

std::optional<http::Response> FormsAuthenticator::Handle(http::Request& request) {
    auto path = ToLower(request.path);
    if (path == kSignInPath) return SignIn(request);
    if (path.ends_with("/logout.srf") || path.ends_with("/_layouts/15/signout.aspx") ||
        path.ends_with("/_layouts/signout.aspx"))
        return SignOut(request);
    if (path == kReturnPath) {
        return HtmlPage(Authenticate(request) ? "<h1>You are signed in</h1><p>This page can be closed.</p>"
                                              : "<h1>You are not signed in</h1>");
    }
    return std::nullopt;
}

http::Response FormsAuthenticator::SignIn(http::Request& request) {
    auto return_to = CheckedReturn(request, QueryValue(request.query, "ReturnUrl"));
    SignInForm form{.action = PageAddress(return_to),
                    .note = "Enter your name and your password.",
                    .extra_fields = kEepBox};
    if (request.method != "POST") {
        if (request.method != "GET" && request.method != "HEAD")
            return http::MakeResponse(405, "text/plain", "GET or POST");
        return Authenticate(request) ? Redirect(request.base_url + return_to) : SignInPage(form);
    }
    auto fields = ParseQuery(http::ReadText(request, 65536));
    form.user = QueryValue(fields, "username");
    auto user = UserByTypedName(m_store, form.user);
    if (!user || !EqualInConstantTime(user->password, QueryValue(fields, "password"))) {
        form.note = "The name or the password is incorrect.";
        return SignInPage(form);
    }
    auto response = Redirect(request.base_url + return_to);
    SetCookies(request, *user, !QueryValue(fields, "keep").empty(), response);
    return response;
}

void FormsAuthenticator::SetCookies(const http::Request& request, const User& user, bool keep,
                                    http::Response& response) {
    auto value = Base64Encode(RandomBytes(96));
    auto expires = Now() + m_options.cookie_lifetime;
    m_tickets.PutToken(value, kTokenKind, {user.id, expires, "", ""});
    auto end = CookieEnd(request, keep ? std::optional(expires) : std::nullopt);
    response.headers.Add("Set-Cookie", "rtFa=" + Base64Encode(RandomBytes(96)) + end);
    response.headers.Add("Set-Cookie", "FedAuth=" + value + end);
}

http::Response FormsAuthenticator::SignOut(const http::Request& request) {
    if (auto value = CookieOf(request, "FedAuth"); !value.empty()) m_tickets.DropToken(value);
    auto response = HtmlPage("<h1>You are signed out</h1>");
    for (const char* name : {"rtFa", "FedAuth"})
        response.headers.Add("Set-Cookie", std::string(name) + "=" + CookieEnd(request, 0));
    return response;
}

}  // namespace devserver
