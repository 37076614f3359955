#include "auth/forms.h"

#include <algorithm>

#include "auth/pages.h"
#include "auth/password.h"
#include "base/clock.h"
#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr char sign_in_path[] = "/_forms/default.aspx";
constexpr char return_path[] = "/_layouts/15/error.aspx";
constexpr char token_kind[] = "forms";
constexpr char keep_box[] =
    "<p><label><input type=\"checkbox\" name=\"keep\" value=\"1\" checked> Keep me signed in</label></p>";

std::string cookie_of(const http::Request& request, std::string_view name) {
    for (const auto& [field, text] : request.headers.all()) {
        if (!equals_ignoring_case(field, "Cookie")) continue;
        for (const auto& pair : split(text, ';')) {
            auto cookie = trim(pair);
            if (cookie.size() > name.size() && cookie.starts_with(name) && cookie[name.size()] == '=')
                return std::string(cookie.substr(name.size() + 1));
        }
    }
    return {};
}

// An address of this server in characters that a header may hold; the default page for any other.
std::string checked_return(const http::Request& request, std::string target) {
    if (target.starts_with(request.base_url + "/")) target.erase(0, request.base_url.size());
    bool is_local =
        target.starts_with("/") && !target.starts_with("//") &&
        std::ranges::all_of(target, [](unsigned char c) { return c > ' ' && c != '\\' && c < 127; });
    return is_local ? target : return_path;
}

bool is_browser(const http::Request& request) {
    return request.method == "GET" && !request.headers.has("X-FORMS_BASED_AUTH_ACCEPTED") &&
           find_ignoring_case(request.headers.get("User-Agent"), "Mozilla") != std::string::npos &&
           find_ignoring_case(request.headers.get("Accept"), "text/html") != std::string::npos;
}

http::Response redirect(const std::string& location) {
    auto response = http::make_response(302, "text/html; charset=utf-8", "");
    response.headers.set("Location", location);
    response.headers.set("Cache-Control", "no-store");
    return response;
}

std::string page_address(const std::string& return_to) {
    return std::string(sign_in_path) + "?ReturnUrl=" + percent_encode(return_to, "-_.~/");
}

// Without a time the cookie lasts as long as the browser runs.
std::string cookie_end(const http::Request& request, std::optional<Seconds> expires) {
    return (expires ? "; expires=" + http_date(*expires) : "") + "; path=/; HttpOnly" +
           (request.base_url.starts_with("https:") ? "; secure" : "");
}

}  // namespace

http::Response forms_challenge(const http::Request& request, bool with_return_url) {
    auto response = http::forbidden();
    response.headers.set("X-Forms_Based_Auth_Required", request.base_url + page_address(return_path));
    if (with_return_url)
        response.headers.set("X-Forms_Based_Auth_Return_Url", request.base_url + return_path);
    response.headers.set("X-Forms_Based_Auth_Dialog_Size", "800x600");
    response.headers.set(
        "X-MSDAVEXT_Error",
        "917656; Access+denied.+Before+opening+files+in+this+location%2c+you+must+first+browse+to+"
        "the+web+site+and+select+the+option+to+login+automatically.");
    return response;
}

std::optional<User> FormsAuthenticator::authenticate(const http::Request& request) {
    auto value = cookie_of(request, "FedAuth");
    if (value.empty()) return std::nullopt;
    auto token = m_tickets.token(value, token_kind);
    if (!token || token->expires <= now()) return std::nullopt;
    return m_store.user_by_id(token->user);
}

http::Response FormsAuthenticator::challenge(const http::Request& request) {
    if (is_browser(request)) return redirect(request.base_url + page_address(request.target));
    return forms_challenge(request, m_options.return_url);
}

std::optional<http::Response> FormsAuthenticator::handle(http::Request& request) {
    auto path = to_lower(request.path);
    if (path == sign_in_path) return sign_in(request);
    if (path.ends_with("/logout.srf") || path.ends_with("/_layouts/15/signout.aspx") ||
        path.ends_with("/_layouts/signout.aspx"))
        return sign_out(request);
    if (path == return_path)
        return html_page(authenticate(request) ? "<h1>You are signed in</h1><p>This page can be closed.</p>"
                                               : "<h1>You are not signed in</h1>");
    return std::nullopt;
}

http::Response FormsAuthenticator::sign_in(http::Request& request) {
    auto return_to = checked_return(request, query_value(request.query, "ReturnUrl"));
    SignInForm form{.action = page_address(return_to),
                    .note = "Enter your name and your password.",
                    .extra_fields = keep_box};
    if (request.method != "POST") {
        if (request.method != "GET" && request.method != "HEAD")
            return http::make_response(405, "text/plain", "GET or POST");
        return authenticate(request) ? redirect(request.base_url + return_to) : sign_in_page(form);
    }
    auto fields = parse_query(http::read_text(request, 65536));
    form.user = query_value(fields, "username");
    auto user = user_by_typed_name(m_store, form.user);
    if (!user || !equal_in_constant_time(user->password, query_value(fields, "password"))) {
        form.note = "The name or the password is incorrect.";
        return sign_in_page(form);
    }
    auto response = redirect(request.base_url + return_to);
    set_cookies(request, *user, !query_value(fields, "keep").empty(), response);
    return response;
}

void FormsAuthenticator::set_cookies(const http::Request& request, const User& user, bool keep,
                                     http::Response& response) {
    auto value = base64_encode(random_bytes(96));
    auto expires = now() + m_options.cookie_lifetime;
    m_tickets.put_token(value, token_kind, {user.id, expires, "", ""});
    auto end = cookie_end(request, keep ? std::optional(expires) : std::nullopt);
    response.headers.add("Set-Cookie", "rtFa=" + base64_encode(random_bytes(96)) + end);
    response.headers.add("Set-Cookie", "FedAuth=" + value + end);
}

http::Response FormsAuthenticator::sign_out(const http::Request& request) {
    if (auto value = cookie_of(request, "FedAuth"); !value.empty()) m_tickets.drop_token(value);
    auto response = html_page("<h1>You are signed out</h1>");
    for (const char* name : {"rtFa", "FedAuth"})
        response.headers.add("Set-Cookie", std::string(name) + "=" + cookie_end(request, 0));
    return response;
}

}  // namespace devserver
