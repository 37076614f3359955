#include "auth/authorize.h"

#include <algorithm>

#include "auth/pages.h"
#include "auth/password.h"
#include "base/clock.h"
#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr Seconds kCodeLifetime = 600;

// http on this machine, with any port and path, in characters that a header may hold.
bool IsLoopback(std::string_view uri) {
    for (std::string_view host : {"http://127.0.0.1", "http://localhost", "http://[::1]"}) {
        if (!StartsWithIgnoringCase(uri, host)) continue;
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

http::Response Refusal(const std::string& sentence) {
    auto response = HtmlPage("<h1>This sign-in can't go on</h1><p>" + HtmlEscape(sentence) + "</p>");
    response.status = 400;
    return response;
}

http::Response BackTo(const std::string& redirect_uri, const std::string& answer, const std::string& state) {
    auto response = http::MakeResponse(302, "text/html; charset=utf-8", "");
    auto mark = redirect_uri.find('?') == std::string::npos ? "?" : "&";
    response.headers.Set(
        "Location", redirect_uri + mark + answer + (state.empty() ? "" : "&state=" + PercentEncode(state)));
    response.headers.Set("Cache-Control", "no-store");
    return response;
}

// The "error" for a faulty request; empty for a good one.
std::string FaultOf(const QueryParameters& query) {
    auto type = QueryValue(query, "response_type"), mode = QueryValue(query, "response_mode");
    if (type.empty()) return "invalid_request";
    if (type != "code") return "unsupported_response_type";
    if (!mode.empty() && mode != "query") return "invalid_request";
    if (QueryValue(query, "code_challenge_method") != "S256") return "invalid_request";
    return QueryValue(query, "code_challenge").size() == 43 ? "" : "invalid_request";
}

}  // namespace

http::Response AuthorizePage::Handle(http::Request& request) {
    const auto& query = request.query;
    AuthorizationCode grant{.client = QueryValue(query, "client_id"),
                            .scope = QueryValue(query, "scope"),
                            .redirect_uri = QueryValue(query, "redirect_uri"),
                            .challenge = QueryValue(query, "code_challenge")};
    auto state = QueryValue(query, "state");
    if (grant.client.empty()) return Refusal("The application doesn't say who it is.");
    if (!IsLoopback(grant.redirect_uri))
        return Refusal("The application wants the answer at a place that isn't on this machine.");
    if (auto fault = FaultOf(query); !fault.empty()) {
        return BackTo(grant.redirect_uri,
                      "error=" + fault + "&error_description=A+code+is+given+for+an+S256+challenge+only.",
                      state);
    }
    if (auto user = m_store.UserByName(m_approve_user)) return GiveCode(std::move(grant), *user, state);
    SignInForm form{.action = request.target,
                    .note = "Application " + grant.client + " wants to work in your name.",
                    .user = QueryValue(query, "login_hint"),
                    .buttons =
                        "<button name=\"decision\" value=\"approve\">Sign in</button> <button "
                        "name=\"decision\" value=\"decline\">Cancel</button>"};
    if (request.method != "POST") {
        if (request.method == "GET" || request.method == "HEAD") return SignInPage(form);
        return http::MakeResponse(405, "text/plain", "GET or POST");
    }
    auto fields = ParseQuery(http::ReadText(request, 65536));
    if (QueryValue(fields, "decision") == "decline") {
        return BackTo(grant.redirect_uri, "error=access_denied&error_description=The+person+declined.",
                      state);
    }
    form.user = QueryValue(fields, "username");
    auto user = UserByTypedName(m_store, form.user);
    if (user && EqualInConstantTime(user->password, QueryValue(fields, "password")))
        return GiveCode(std::move(grant), *user, state);
    form.note = "The name or the password is incorrect.";
    return SignInPage(form);
}

http::Response AuthorizePage::GiveCode(AuthorizationCode grant, const User& user, const std::string& state) {
    auto code = Base64urlEncode(RandomBytes(48));
    grant.user = user.id;
    grant.expires = Now() + kCodeLifetime;
    m_tickets.PutAuthorizationCode(code, grant);
    return BackTo(grant.redirect_uri, "code=" + code, state);
}

std::optional<AuthorizationCode> AuthorizePage::Redeem(const std::string& code, const std::string& verifier) {
    auto grant = m_tickets.TakeAuthorizationCode(code);
    bool proven = grant && EqualInConstantTime(Base64urlEncode(Sha256(verifier)), grant->challenge);
    return proven ? std::move(grant) : std::nullopt;
}

}  // namespace devserver
