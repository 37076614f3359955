#include "auth/oauth.h"

#include "auth/authenticator.h"
#include "auth/pages.h"
#include "base/clock.h"
#include "base/crypto.h"
#include "base/json.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr const char* kPrefix = "/organizations/";
constexpr Seconds kRefreshLifetime = 90 * 24 * 3600;

// Closes the object and makes it the answer.
http::Response Answer(int status, JsonWriter& json) {
    auto response = http::MakeResponse(status, "application/json; charset=utf-8", json.EndObject().Take());
    response.headers.Set("Cache-Control", "no-store");
    response.headers.Set("Pragma", "no-cache");
    return response;
}

http::Response OauthError(const std::string& code, const std::string& description, int status = 400) {
    JsonWriter json;
    json.StartObject().Member("error", code).Member("error_description", description);
    return Answer(status, json.Member("timestamp", IsoTime(Now())));
}

// Letters that are not mistaken for each other.
std::string MakeUserCode() {
    constexpr std::string_view kLetters = "BCDFGHJKLMNPQRSTVWXZ";
    std::string code;
    for (char c : RandomBytes(9)) code += kLetters[static_cast<unsigned char>(c) % kLetters.size()];
    return code;
}

}  // namespace

std::optional<http::Response> OAuthAuthority::Handle(http::Request& request) {
    if (EqualsIgnoringCase(request.path, "/devicelogin")) return LoginPage(request);
    // Any tenant name is accepted in the place of "organizations".
    auto second = request.path.find('/', 1);
    if (second == std::string::npos) return std::nullopt;
    auto rest = ToLower(std::string_view(request.path).substr(second));
    if (rest == "/.well-known/openid-configuration" || rest == "/v2.0/.well-known/openid-configuration")
        return configuration(request);
    if (rest == "/oauth2/v2.0/authorize") return m_authorize.Handle(request);
    bool post = request.method == "POST";
    if (rest != "/oauth2/v2.0/devicecode" && rest != "/oauth2/v2.0/token") return std::nullopt;
    if (!post) return OauthError("invalid_request", "This endpoint takes POST requests.", 405);
    return rest == "/oauth2/v2.0/token" ? token(request) : IssueDeviceCode(request);
}

http::Response OAuthAuthority::configuration(const http::Request& request) const {
    auto base = request.base_url + kPrefix + "oauth2/v2.0/";
    JsonWriter json;
    json.StartObject().Member("token_endpoint", base + "token");
    json.Member("device_authorization_endpoint", base + "devicecode");
    json.Member("authorization_endpoint", base + "authorize");
    json.Member("issuer", request.base_url + kPrefix + "v2.0");
    json.Key("token_endpoint_auth_methods_supported").StartArray().Value("none").EndArray();
    json.Key("response_types_supported").StartArray().Value("code").EndArray();
    json.Key("subject_types_supported").StartArray().Value("pairwise").EndArray();
    json.Key("scopes_supported")
        .StartArray()
        .Value("openid")
        .Value("profile")
        .Value("offline_access")
        .EndArray();
    return Answer(200, json);
}

http::Response OAuthAuthority::IssueDeviceCode(http::Request& request) {
    auto form = ParseQuery(http::ReadText(request, 65536));
    DeviceCode record;
    record.client = QueryValue(form, "client_id");
    record.scope = QueryValue(form, "scope");
    if (record.client.empty()) return OauthError("invalid_request", "The request has no client_id.");
    record.user_code = MakeUserCode();
    record.expires = Now() + m_options.device_code_lifetime;
    record.interval = m_options.poll_interval;
    if (auto user = m_store.UserByName(m_options.approve_user)) record.user = user->id;
    auto code = Base64urlEncode(RandomBytes(48));
    m_tickets.PutDeviceCode(code, record);
    auto address = request.base_url + "/devicelogin";
    JsonWriter json;
    json.StartObject().Member("user_code", record.user_code).Member("device_code", code);
    json.Member("verification_uri", address);
    json.Member("verification_uri_complete", address + "?user_code=" + record.user_code);
    json.Member("expires_in", m_options.device_code_lifetime).Member("interval", record.interval);
    json.Member("message",
                "To sign in, open the page " + address + " and enter the code " + record.user_code + ".");
    return Answer(200, json);
}

http::Response OAuthAuthority::token(http::Request& request) {
    auto form = ParseQuery(http::ReadText(request, 65536));
    auto type = QueryValue(form, "grant_type");
    if (type == "urn:ietf:params:oauth:grant-type:device_code" || type == "device_code")
        return RedeemDeviceCode(form);
    if (type == "authorization_code") return RedeemCode(form);
    if (type == "refresh_token") return RedeemRefreshToken(form);
    if (type == "password") return RedeemPassword(form);
    return OauthError(type.empty() ? "invalid_request" : "unsupported_grant_type",
                      "The grant type '" + type + "' isn't supported.");
}

http::Response OAuthAuthority::RedeemCode(const QueryParameters& form) {
    for (const char* name : {"code", "client_id", "redirect_uri", "code_verifier"}) {
        if (QueryValue(form, name).empty())
            return OauthError("invalid_request", std::string("The request has no ") + name + ".");
    }
    auto grant_of = m_authorize.Redeem(QueryValue(form, "code"), QueryValue(form, "code_verifier"));
    bool is_same = grant_of && grant_of->client == QueryValue(form, "client_id") &&
                   grant_of->redirect_uri == QueryValue(form, "redirect_uri");
    auto user = is_same ? m_store.UserById(grant_of->user) : std::nullopt;
    if (!user) return OauthError("invalid_grant", "The code isn't known for this client, place and proof.");
    return Grant(*user, grant_of->scope, grant_of->client);
}

http::Response OAuthAuthority::RedeemDeviceCode(const QueryParameters& form) {
    auto code = QueryValue(form, "device_code");
    auto record = m_tickets.FindDeviceCode(code);
    if (!record) return OauthError("invalid_grant", "The device code isn't known or was used before.");
    if (record->client != QueryValue(form, "client_id"))
        return OauthError("invalid_client", "The device code was given to another client.");
    if (record->expires <= Now()) {
        m_tickets.DropDeviceCode(code);
        return OauthError("expired_token", "The device code has expired.");
    }
    if (record->denied) {
        m_tickets.DropDeviceCode(code);
        return OauthError("authorization_declined", "The person declined.");
    }
    if (record->user == 0) {
        bool too_soon = record->last_poll != 0 && Now() - record->last_poll < record->interval;
        m_tickets.NoteDevicePoll(code, Now(), record->interval + (too_soon ? 5 : 0));
        return too_soon ? OauthError("slow_down", "Poll less often.")
                        : OauthError("authorization_pending", "Nobody has entered the code yet.");
    }
    // Of two requests at the same time only one gets the tokens.
    auto user = m_tickets.DropDeviceCode(code) ? m_store.UserById(record->user) : std::nullopt;
    if (!user) return OauthError("invalid_grant", "The device code was used before, or its user is gone.");
    return Grant(*user, record->scope, record->client);
}

http::Response OAuthAuthority::RedeemRefreshToken(const QueryParameters& form) {
    auto value = QueryValue(form, "refresh_token");
    auto token = m_tickets.token(value, "refresh");
    if (!token || token->expires <= Now())
        return OauthError("invalid_grant", "The refresh token isn't known, was used before, or has expired.");
    if (token->client != QueryValue(form, "client_id"))
        return OauthError("invalid_client", "The refresh token was given to another client.");
    auto user = m_tickets.DropToken(value) ? m_store.UserById(token->user) : std::nullopt;
    if (!user) return OauthError("invalid_grant", "The refresh token was used before, or its user is gone.");
    auto scope = QueryValue(form, "scope");
    return Grant(*user, scope.empty() ? token->scope : scope, token->client);
}

http::Response OAuthAuthority::RedeemPassword(const QueryParameters& form) {
    auto user = m_store.UserByName(QueryValue(form, "username"));
    if (!user || !EqualInConstantTime(user->password, QueryValue(form, "password")))
        return OauthError("invalid_grant", "The user name or password is incorrect.");
    return Grant(*user, QueryValue(form, "scope"), QueryValue(form, "client_id"));
}

std::string OAuthAuthority::IssueAccessToken(const User& user, const std::string& scope,
                                             const std::string& client, std::optional<int> lifetime) {
    auto head = JsonWriter().StartObject().Member("typ", "JWT").Member("alg", "none").EndObject().Take();
    auto value = Base64urlEncode(head) + "." + Base64urlEncode(RandomBytes(48)) + "." +
                 Base64urlEncode(RandomBytes(32));
    m_tickets.PutToken(value, "access",
                       {user.id, Now() + lifetime.value_or(m_options.token_lifetime), scope, client});
    return value;
}

http::Response OAuthAuthority::Grant(const User& user, const std::string& scope, const std::string& client) {
    auto access = IssueAccessToken(user, scope, client);
    auto refresh = Base64urlEncode(RandomBytes(64));
    m_tickets.PutToken(refresh, "refresh", {user.id, Now() + kRefreshLifetime, scope, client});
    JsonWriter json;
    json.StartObject().Member("token_type", "Bearer").Member("scope", scope);
    json.Member("expires_in", m_options.token_lifetime).Member("ext_expires_in", m_options.token_lifetime);
    return Answer(200, json.Member("access_token", access).Member("refresh_token", refresh));
}

http::Response OAuthAuthority::LoginPage(http::Request& request) {
    auto code = ToUpper(Trim(QueryValue(request.query, "user_code")));
    std::string note = "Enter the code that the device shows, and your name and password.";
    if (request.method == "POST") {
        auto form = ParseQuery(http::ReadText(request, 65536));
        code = ToUpper(Trim(QueryValue(form, "user_code")));
        auto record = m_tickets.DeviceCodeByUserCode(code);
        auto user = m_store.UserByName(QueryValue(form, "username"));
        if (!record || record->expires <= Now()) {
            note = "This code isn't known, or has expired.";
        } else if (!user || !EqualInConstantTime(user->password, QueryValue(form, "password"))) {
            note = "The name or the password is incorrect.";
        } else {
            bool denied = QueryValue(form, "decision") == "decline";
            m_tickets.DecideDeviceCode(code, denied ? 0 : user->id, denied);
            return HtmlPage(denied ? "<h1>Declined</h1>"
                                   : "<h1>You are signed in</h1><p>Go back to the device; "
                                     "this page may be closed.</p>");
        }
    } else if (request.method != "GET" && request.method != "HEAD") {
        return http::MakeResponse(405, "text/plain", "GET or POST");
    }
    return SignInPage({.title = "Sign in on a device",
                       .action = "/devicelogin",
                       .note = note,
                       .extra_fields = "<p><label>Code <input name=\"user_code\" value=\"" +
                                       HtmlEscape(code) + "\"></label></p>",
                       .buttons = "<button name=\"decision\" value=\"approve\">Approve</button> <button "
                                  "name=\"decision\" value=\"decline\">Decline</button>"});
}

}  // namespace devserver
