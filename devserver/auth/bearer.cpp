// Bearer tokens and their challenge, and what all schemes share.
// Owner: auth/; any thread.
#include "auth/authenticator.h"
#include "base/json.h"
#include "base/text.h"

namespace devserver {

std::string RealmOf(Store& store) {
    return FormatGuid(store.secret("realm"));
}

std::string BearerToken(const http::Request& request) {
    return CredentialsOf(request, "Bearer").value_or("");
}

std::optional<std::string> CredentialsOf(const http::Request& request, std::string_view scheme) {
    auto header = request.headers.get("Authorization");
    if (!StartsWithIgnoringCase(header, scheme) || header.size() <= scheme.size() ||
        header[scheme.size()] != ' ')
        return std::nullopt;
    return std::string(Trim(std::string_view(header).substr(scheme.size())));
}

http::Response Unauthorized(const std::string& challenge) {
    auto response = http::MakeResponse(401, "text/plain; charset=utf-8", "401 UNAUTHORIZED");
    response.headers.Set("WWW-Authenticate", challenge);
    return response;
}

std::optional<User> BearerAuthenticator::Authenticate(const http::Request& request) {
    auto value = BearerToken(request);
    if (value.empty()) return std::nullopt;
    auto token = m_tickets.token(value, "access");
    if (!token || token->expires <= Now()) return std::nullopt;
    return m_store.UserById(token->user);
}

http::Response BearerAuthenticator::Challenge(const http::Request& request) {
    auto value = BearerToken(request);
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
        http::MakeResponse(401, "application/json; charset=utf-8",
                           JsonWriter().StartObject().Member("error_description", text).EndObject().Take());
    response.headers.Set("WWW-Authenticate",
                         "Bearer realm=\"" + RealmOf(m_store) +
                             "\",client_id=\"00000003-0000-0ff1-ce00-000000000000\",trusted_issuers=\"" +
                             RealmOf(m_store) + "@*\",authorization_uri=\"" + request.base_url +
                             "/organizations/oauth2/v2.0/authorize\"" + detail);
    if (!diagnostics.empty()) response.headers.Set("x-ms-diagnostics", diagnostics);
    return response;
}

}  // namespace devserver
