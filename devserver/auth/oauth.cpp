#include "auth/oauth.h"

#include "auth/authenticator.h"
#include "auth/pages.h"
#include "base/clock.h"
#include "base/crypto.h"
#include "base/json.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr const char* prefix = "/organizations/";
constexpr Seconds refresh_lifetime = 90 * 24 * 3600;

// Closes the object and makes it the answer.
http::Response answer(int status, JsonWriter& json) {
    auto response = http::make_response(status, "application/json; charset=utf-8", json.end_object().take());
    response.headers.set("Cache-Control", "no-store");
    response.headers.set("Pragma", "no-cache");
    return response;
}

http::Response oauth_error(const std::string& code, const std::string& description, int status = 400) {
    JsonWriter json;
    json.object().member("error", code).member("error_description", description);
    return answer(status, json.member("timestamp", iso_time(now())));
}

// Letters that are not mistaken for each other.
std::string make_user_code() {
    constexpr std::string_view letters = "BCDFGHJKLMNPQRSTVWXZ";
    std::string code;
    for (char c : random_bytes(9)) code += letters[static_cast<unsigned char>(c) % letters.size()];
    return code;
}

}  // namespace

std::optional<http::Response> OAuthAuthority::handle(http::Request& request) {
    if (equals_ignoring_case(request.path, "/devicelogin")) return login_page(request);
    // Any tenant name is accepted in the place of "organizations".
    auto second = request.path.find('/', 1);
    if (second == std::string::npos) return std::nullopt;
    auto rest = to_lower(std::string_view(request.path).substr(second));
    if (rest == "/.well-known/openid-configuration" || rest == "/v2.0/.well-known/openid-configuration")
        return configuration(request);
    if (rest == "/oauth2/v2.0/authorize") return m_authorize.handle(request);
    bool post = request.method == "POST";
    if (rest != "/oauth2/v2.0/devicecode" && rest != "/oauth2/v2.0/token") return std::nullopt;
    if (!post) return oauth_error("invalid_request", "This endpoint takes POST requests.", 405);
    return rest == "/oauth2/v2.0/token" ? token(request) : device_code(request);
}

http::Response OAuthAuthority::configuration(const http::Request& request) const {
    auto base = request.base_url + prefix + "oauth2/v2.0/";
    JsonWriter json;
    json.object().member("token_endpoint", base + "token");
    json.member("device_authorization_endpoint", base + "devicecode");
    json.member("authorization_endpoint", base + "authorize");
    json.member("issuer", request.base_url + prefix + "v2.0");
    json.key("token_endpoint_auth_methods_supported").array().value("none").end_array();
    json.key("response_types_supported").array().value("code").end_array();
    json.key("subject_types_supported").array().value("pairwise").end_array();
    json.key("scopes_supported").array().value("openid").value("profile").value("offline_access").end_array();
    return answer(200, json);
}

http::Response OAuthAuthority::device_code(http::Request& request) {
    auto form = parse_query(http::read_text(request, 65536));
    DeviceCode record;
    record.client = query_value(form, "client_id");
    record.scope = query_value(form, "scope");
    if (record.client.empty()) return oauth_error("invalid_request", "The request has no client_id.");
    record.user_code = make_user_code();
    record.expires = now() + m_options.device_code_lifetime;
    record.interval = m_options.poll_interval;
    if (auto user = m_store.user_by_name(m_options.approve_user)) record.user = user->id;
    auto code = base64url_encode(random_bytes(48));
    m_tickets.put_device_code(code, record);
    auto address = request.base_url + "/devicelogin";
    JsonWriter json;
    json.object().member("user_code", record.user_code).member("device_code", code);
    json.member("verification_uri", address);
    json.member("verification_uri_complete", address + "?user_code=" + record.user_code);
    json.member("expires_in", m_options.device_code_lifetime).member("interval", record.interval);
    json.member("message",
                "To sign in, open the page " + address + " and enter the code " + record.user_code + ".");
    return answer(200, json);
}

http::Response OAuthAuthority::token(http::Request& request) {
    auto form = parse_query(http::read_text(request, 65536));
    auto type = query_value(form, "grant_type");
    if (type == "urn:ietf:params:oauth:grant-type:device_code" || type == "device_code")
        return redeem_device_code(form);
    if (type == "authorization_code") return redeem_code(form);
    if (type == "refresh_token") return redeem_refresh_token(form);
    if (type == "password") return redeem_password(form);
    return oauth_error(type.empty() ? "invalid_request" : "unsupported_grant_type",
                       "The grant type '" + type + "' isn't supported.");
}

http::Response OAuthAuthority::redeem_code(const QueryParameters& form) {
    for (const char* name : {"code", "client_id", "redirect_uri", "code_verifier"})
        if (query_value(form, name).empty())
            return oauth_error("invalid_request", std::string("The request has no ") + name + ".");
    auto grant_of = m_authorize.redeem(query_value(form, "code"), query_value(form, "code_verifier"));
    bool is_same = grant_of && grant_of->client == query_value(form, "client_id") &&
                   grant_of->redirect_uri == query_value(form, "redirect_uri");
    auto user = is_same ? m_store.user_by_id(grant_of->user) : std::nullopt;
    if (!user) return oauth_error("invalid_grant", "The code isn't known for this client, place and proof.");
    return grant(*user, grant_of->scope, grant_of->client);
}

http::Response OAuthAuthority::redeem_device_code(const QueryParameters& form) {
    auto code = query_value(form, "device_code");
    auto record = m_tickets.device_code(code);
    if (!record) return oauth_error("invalid_grant", "The device code isn't known or was used before.");
    if (record->client != query_value(form, "client_id"))
        return oauth_error("invalid_client", "The device code was given to another client.");
    if (record->expires <= now()) {
        m_tickets.drop_device_code(code);
        return oauth_error("expired_token", "The device code has expired.");
    }
    if (record->denied) {
        m_tickets.drop_device_code(code);
        return oauth_error("authorization_declined", "The person declined.");
    }
    if (record->user == 0) {
        bool too_soon = record->last_poll != 0 && now() - record->last_poll < record->interval;
        m_tickets.note_device_poll(code, now(), record->interval + (too_soon ? 5 : 0));
        return too_soon ? oauth_error("slow_down", "Poll less often.")
                        : oauth_error("authorization_pending", "Nobody has entered the code yet.");
    }
    // Of two requests at the same time only one gets the tokens.
    auto user = m_tickets.drop_device_code(code) ? m_store.user_by_id(record->user) : std::nullopt;
    if (!user) return oauth_error("invalid_grant", "The device code was used before, or its user is gone.");
    return grant(*user, record->scope, record->client);
}

http::Response OAuthAuthority::redeem_refresh_token(const QueryParameters& form) {
    auto value = query_value(form, "refresh_token");
    auto token = m_tickets.token(value, "refresh");
    if (!token || token->expires <= now())
        return oauth_error("invalid_grant",
                           "The refresh token isn't known, was used before, or has expired.");
    if (token->client != query_value(form, "client_id"))
        return oauth_error("invalid_client", "The refresh token was given to another client.");
    auto user = m_tickets.drop_token(value) ? m_store.user_by_id(token->user) : std::nullopt;
    if (!user) return oauth_error("invalid_grant", "The refresh token was used before, or its user is gone.");
    auto scope = query_value(form, "scope");
    return grant(*user, scope.empty() ? token->scope : scope, token->client);
}

http::Response OAuthAuthority::redeem_password(const QueryParameters& form) {
    auto user = m_store.user_by_name(query_value(form, "username"));
    if (!user || !equal_in_constant_time(user->password, query_value(form, "password")))
        return oauth_error("invalid_grant", "The user name or password is incorrect.");
    return grant(*user, query_value(form, "scope"), query_value(form, "client_id"));
}

std::string OAuthAuthority::issue_access_token(const User& user, const std::string& scope,
                                               const std::string& client, std::optional<int> lifetime) {
    auto head = JsonWriter().object().member("typ", "JWT").member("alg", "none").end_object().take();
    auto value = base64url_encode(head) + "." + base64url_encode(random_bytes(48)) + "." +
                 base64url_encode(random_bytes(32));
    m_tickets.put_token(value, "access",
                        {user.id, now() + lifetime.value_or(m_options.token_lifetime), scope, client});
    return value;
}

http::Response OAuthAuthority::grant(const User& user, const std::string& scope, const std::string& client) {
    auto access = issue_access_token(user, scope, client);
    auto refresh = base64url_encode(random_bytes(64));
    m_tickets.put_token(refresh, "refresh", {user.id, now() + refresh_lifetime, scope, client});
    JsonWriter json;
    json.object().member("token_type", "Bearer").member("scope", scope);
    json.member("expires_in", m_options.token_lifetime).member("ext_expires_in", m_options.token_lifetime);
    return answer(200, json.member("access_token", access).member("refresh_token", refresh));
}

http::Response OAuthAuthority::login_page(http::Request& request) {
    auto code = to_upper(trim(query_value(request.query, "user_code")));
    std::string note = "Enter the code that the device shows, and your name and password.";
    if (request.method == "POST") {
        auto form = parse_query(http::read_text(request, 65536));
        code = to_upper(trim(query_value(form, "user_code")));
        auto record = m_tickets.device_code_by_user_code(code);
        auto user = m_store.user_by_name(query_value(form, "username"));
        if (!record || record->expires <= now()) {
            note = "This code isn't known, or has expired.";
        } else if (!user || !equal_in_constant_time(user->password, query_value(form, "password"))) {
            note = "The name or the password is incorrect.";
        } else {
            bool denied = query_value(form, "decision") == "decline";
            m_tickets.decide_device_code(code, denied ? 0 : user->id, denied);
            return html_page(denied ? "<h1>Declined</h1>"
                                    : "<h1>You are signed in</h1><p>Go back to the device; "
                                      "this page may be closed.</p>");
        }
    } else if (request.method != "GET" && request.method != "HEAD") {
        return http::make_response(405, "text/plain", "GET or POST");
    }
    return sign_in_page({.title = "Sign in on a device",
                         .action = "/devicelogin",
                         .note = note,
                         .extra_fields = "<p><label>Code <input name=\"user_code\" value=\"" +
                                         html_escape(code) + "\"></label></p>",
                         .buttons = "<button name=\"decision\" value=\"approve\">Approve</button> <button "
                                    "name=\"decision\" value=\"decline\">Decline</button>"});
}

}  // namespace devserver
