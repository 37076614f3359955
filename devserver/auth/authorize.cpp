#include "auth/authorize.h"

#include <algorithm>

#include "auth/pages.h"
#include "auth/password.h"
#include "base/clock.h"
#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr Seconds code_lifetime = 600;

// http on this machine, with any port and path, in characters that a header may hold.
bool is_loopback(std::string_view uri) {
    for (std::string_view host : {"http://127.0.0.1", "http://localhost", "http://[::1]"}) {
        if (!starts_with_ignoring_case(uri, host)) continue;
        auto rest = uri.substr(host.size());
        if (rest.starts_with(':')) {
            rest.remove_prefix(1);
            auto digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
            rest.remove_prefix(digits);
        }
        return (rest.empty() || rest.front() == '/') && rest.find('#') == std::string_view::npos &&
               std::ranges::all_of(rest, [](unsigned char c) { return c > ' ' && c < 127; });
    }
    return false;
}

http::Response refusal(const std::string& sentence) {
    auto response = html_page("<h1>This sign-in can't go on</h1><p>" + html_escape(sentence) + "</p>");
    response.status = 400;
    return response;
}

http::Response back_to(const std::string& redirect_uri, const std::string& answer, const std::string& state) {
    auto response = http::make_response(302, "text/html; charset=utf-8", "");
    auto mark = redirect_uri.find('?') == std::string::npos ? "?" : "&";
    response.headers.set(
        "Location", redirect_uri + mark + answer + (state.empty() ? "" : "&state=" + percent_encode(state)));
    response.headers.set("Cache-Control", "no-store");
    return response;
}

// The "error" for a faulty request; empty for a good one.
std::string fault_of(const QueryParameters& query) {
    auto type = query_value(query, "response_type"), mode = query_value(query, "response_mode");
    if (type.empty()) return "invalid_request";
    if (type != "code") return "unsupported_response_type";
    if (!mode.empty() && mode != "query") return "invalid_request";
    if (query_value(query, "code_challenge_method") != "S256") return "invalid_request";
    return query_value(query, "code_challenge").size() == 43 ? "" : "invalid_request";
}

}  // namespace

http::Response AuthorizePage::handle(http::Request& request) {
    const auto& query = request.query;
    AuthorizationCode grant{.client = query_value(query, "client_id"),
                            .scope = query_value(query, "scope"),
                            .redirect_uri = query_value(query, "redirect_uri"),
                            .challenge = query_value(query, "code_challenge")};
    auto state = query_value(query, "state");
    if (grant.client.empty()) return refusal("The application doesn't say who it is.");
    if (!is_loopback(grant.redirect_uri))
        return refusal("The application wants the answer at a place that isn't on this machine.");
    if (auto fault = fault_of(query); !fault.empty())
        return back_to(grant.redirect_uri,
                       "error=" + fault + "&error_description=A+code+is+given+for+an+S256+challenge+only.",
                       state);
    if (auto user = m_store.user_by_name(m_approve_user)) return give_code(std::move(grant), *user, state);
    SignInForm form{.action = request.target,
                    .note = "Application " + grant.client + " wants to work in your name.",
                    .user = query_value(query, "login_hint"),
                    .buttons =
                        "<button name=\"decision\" value=\"approve\">Sign in</button> <button "
                        "name=\"decision\" value=\"decline\">Cancel</button>"};
    if (request.method != "POST") {
        if (request.method == "GET" || request.method == "HEAD") return sign_in_page(form);
        return http::make_response(405, "text/plain", "GET or POST");
    }
    auto fields = parse_query(http::read_text(request, 65536));
    if (query_value(fields, "decision") == "decline")
        return back_to(grant.redirect_uri, "error=access_denied&error_description=The+person+declined.",
                       state);
    form.user = query_value(fields, "username");
    auto user = user_by_typed_name(m_store, form.user);
    if (user && equal_in_constant_time(user->password, query_value(fields, "password")))
        return give_code(std::move(grant), *user, state);
    form.note = "The name or the password is incorrect.";
    return sign_in_page(form);
}

http::Response AuthorizePage::give_code(AuthorizationCode grant, const User& user, const std::string& state) {
    auto code = base64url_encode(random_bytes(48));
    grant.user = user.id;
    grant.expires = now() + code_lifetime;
    m_tickets.put_authorization_code(code, grant);
    return back_to(grant.redirect_uri, "code=" + code, state);
}

std::optional<AuthorizationCode> AuthorizePage::redeem(const std::string& code, const std::string& verifier) {
    auto grant = m_tickets.take_authorization_code(code);
    bool proven = grant && equal_in_constant_time(base64url_encode(sha256(verifier)), grant->challenge);
    return proven ? std::move(grant) : std::nullopt;
}

}  // namespace devserver
