// Bearer tokens and their challenge, and what all schemes share.
// Owner: auth/; any thread.
#include "auth/authenticator.h"
#include "base/json.h"
#include "base/text.h"

namespace devserver {

std::string realm_of(Store& store) {
    return format_guid(store.secret("realm"));
}

std::string bearer_token(const http::Request& request) {
    return credentials_of(request, "Bearer").value_or("");
}

std::optional<std::string> credentials_of(const http::Request& request, std::string_view scheme) {
    auto header = request.headers.get("Authorization");
    if (!starts_with_ignoring_case(header, scheme) || header.size() <= scheme.size() ||
        header[scheme.size()] != ' ')
        return std::nullopt;
    return std::string(trim(std::string_view(header).substr(scheme.size())));
}

http::Response unauthorized(const std::string& challenge) {
    auto response = http::make_response(401, "text/plain; charset=utf-8", "401 UNAUTHORIZED");
    response.headers.set("WWW-Authenticate", challenge);
    return response;
}

std::optional<User> BearerAuthenticator::authenticate(const http::Request& request) {
    auto value = bearer_token(request);
    if (value.empty()) return std::nullopt;
    auto token = m_tickets.token(value, "access");
    if (!token || token->expires <= now()) return std::nullopt;
    return m_store.user_by_id(token->user);
}

http::Response BearerAuthenticator::challenge(const http::Request& request) {
    auto value = bearer_token(request);
    std::string text, detail, diagnostics;
    if (value.empty()) {
        text = "No authorization information was found.";
    } else if (m_tickets.token(value, "access")) {
        text = "Invalid JWT token. The token is expired.";
        diagnostics =
            "3000006;reason=\"Token contains invalid signature or is expired.\";category=\"invalid_client\"";
        detail = ",error=\"invalid_token\",error_description=\"The token is expired.\"";
    } else {
        text = "Invalid JWT token.";
        diagnostics = "3000003;reason=\"The token isn't known.\";category=\"invalid_client\"";
        detail = ",error=\"invalid_token\",error_description=\"The token isn't known.\"";
    }
    auto response =
        http::make_response(401, "application/json; charset=utf-8",
                            JsonWriter().object().member("error_description", text).end_object().take());
    response.headers.set("WWW-Authenticate",
                         "Bearer realm=\"" + realm_of(m_store) +
                             "\",client_id=\"00000003-0000-0ff1-ce00-000000000000\",trusted_issuers=\"" +
                             realm_of(m_store) + "@*\",authorization_uri=\"" + request.base_url +
                             "/organizations/oauth2/v2.0/authorize\"" + detail);
    if (!diagnostics.empty()) response.headers.set("x-ms-diagnostics", diagnostics);
    return response;
}

}  // namespace devserver
