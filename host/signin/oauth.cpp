#include "host/signin/oauth.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "host/base/failure.h"
#include "host/base/interrupt.h"
#include "host/base/json.h"
#include "host/signin/addresses.h"
#include "host/signin/http_form.h"

namespace host {

namespace {

constexpr std::string_view kTokensFile = "tokens.json";
constexpr std::string_view kOverridesFile = "oauth.json";
constexpr std::string_view kPurpose = "oauth tokens";
constexpr int kDefaultInterval = 5;  // seconds, where the server names none
constexpr int kSlowDown = 5;         // more seconds each time the server asks for it
constexpr int kMaxInterval = 120;
constexpr std::int64_t kDefaultLifetime = 900;
constexpr double kLongestLifetime = 366.0 * 24 * 60 * 60;
constexpr long kTooManyRequests = 429;

std::int64_t Microseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

// A number of the profile's own files.
std::int64_t NumberOf(const rapidjson::Value& json, const char* name) {
    const auto member = json.FindMember(name);
    return member != json.MemberEnd() && member->value.IsInt64() ? member->value.GetInt64() : 0;
}

// A number of seconds as a server tells it: whole, with a fraction, or as text. Nobody means more than a
// year, and what isn't above zero says nothing.
std::int64_t SecondsOf(const rapidjson::Value& json, const char* name, std::int64_t otherwise) {
    const auto member = json.FindMember(name);
    if (member == json.MemberEnd()) return otherwise;
    double seconds = 0;
    if (member->value.IsNumber()) seconds = member->value.GetDouble();
    if (member->value.IsString()) {
        char* end = nullptr;
        seconds = std::strtod(member->value.GetString(), &end);
        if (*end != '\0') return otherwise;
    }
    if (!(seconds > 0)) return otherwise;
    return static_cast<std::int64_t>(std::min(seconds, kLongestLifetime));
}

void SetMember(rapidjson::Value& object, const std::string& name, rapidjson::Value value,
               Json::AllocatorType& memory) {
    object.RemoveMember(name.c_str());
    object.AddMember(rapidjson::Value(name.c_str(), memory), value, memory);
}

char ToLowerAscii(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

std::string Endpoint(const OAuthRequest& request, const char* name) {
    std::string authority = request.authority;
    while (authority.ends_with('/')) authority.pop_back();
    return authority + "/oauth2/v2.0/" + name;
}

std::string FullScope(const OAuthRequest& request) {
    return request.scope + " offline_access";
}

std::string KeyOf(const OAuthRequest& request) {
    return request.authority + " " + request.scope + " " + request.user;
}

// A purpose of its own for each sign-in, so that stored tokens can't be exchanged.
std::string PurposeOf(const std::string& key, const char* name) {
    return std::string(kPurpose) + " " + name + " " + key;
}

// Throws a Failure of 0x821704C7 as soon as the person cancels.
void Wait(int seconds, const SignInNotice& notice) {
    constexpr int kCheckIntervalMs = 100;
    for (int left = seconds * 1000; left > 0; left -= kCheckIntervalMs) {
        const bool has_slept = SleepUnlessInterrupted(kCheckIntervalMs);
        if (!has_slept || notice.IsCanceled()) throw Failure(kCanceled, "the sign-in was interrupted");
    }
}

[[noreturn]] void ThrowRefusal(const FormAnswer& answer, const Json& json) {
    const std::string error = TextOf(json, "error");
    const std::string description = TextOf(json, "error_description");
    if (error == "access_denied" || error == "authorization_declined") {
        throw Failure(kCanceled, "the sign-in was declined");
    }
    if (error == "expired_token")
        throw Failure(HRESULT_FROM_WIN32(1460), "the code for the sign-in has expired");
    std::string why = "the sign-in server answered with status " + std::to_string(answer.status);
    if (!error.empty()) why += ", " + PlainLine(error);
    if (!description.empty()) why += ": " + PlainLine(description);
    throw Failure(E_ACCESSDENIED, why);
}

}  // namespace

std::string ServerOf(const std::string& url) {
    const std::size_t scheme = url.find("://");
    if (scheme == std::string::npos) return {};
    std::string server = url.substr(0, url.find_first_of("/?#", scheme + 3));
    const std::size_t at = server.find('@', scheme);
    if (at != std::string::npos) server.erase(scheme + 3, at - scheme - 2);
    std::transform(server.begin(), server.end(), server.begin(), ToLowerAscii);
    return server;
}

OAuth::OAuth(const Profile& profile, std::shared_ptr<const Cipher> cipher, SignInPrompts& prompts)
    : m_profile(profile), m_cipher(std::move(cipher)), m_prompts(prompts), m_started(Microseconds()) {}

void OAuth::SetOverride(const std::string& site_url, const OAuthOverride& value) const {
    m_profile.UpdateJson(kOverridesFile, [&](Json& json) {
        if (!json.IsObject()) json.SetObject();
        auto& memory = json.GetAllocator();
        rapidjson::Value entry(rapidjson::kObjectType);
        entry.AddMember("authority", rapidjson::Value(value.authority.c_str(), memory), memory);
        entry.AddMember("clientID", rapidjson::Value(value.client_id.c_str(), memory), memory);
        entry.AddMember("flow", rapidjson::Value(value.flow.c_str(), memory), memory);
        entry.AddMember("redirectURI", rapidjson::Value(value.redirect.c_str(), memory), memory);
        entry.AddMember("insecureHttp", value.insecure_http, memory);
        SetMember(json, ServerOf(site_url), std::move(entry), memory);
    });
}

std::optional<OAuthOverride> OAuth::FindOverride(const std::string& site_url) const {
    const auto text = ReadWhole(m_profile.file(kOverridesFile));
    if (!text) return std::nullopt;
    const std::optional<Json> json = ParseJson(*text);
    // Without it a sign-in would go to another authority than the person has chosen.
    if (!json || !json->IsObject()) {
        throw Failure(kBadData,
                      m_profile.file(kOverridesFile).string() +
                          ", which says where sites are signed in to, is damaged; mend or remove it");
    }
    const auto member = json->FindMember(ServerOf(site_url).c_str());
    if (member == json->MemberEnd() || !member->value.IsObject()) return std::nullopt;
    const auto insecure = member->value.FindMember("insecureHttp");
    return OAuthOverride{TextOf(member->value, "authority"), TextOf(member->value, "clientID"),
                         TextOf(member->value, "flow"), TextOf(member->value, "redirectURI"),
                         insecure != member->value.MemberEnd() && insecure->value.IsTrue()};
}

void OAuth::RequirePrivatePlace(const std::string& site_url) const {
    if (IsPrivateWay(site_url)) return;
    const auto own = FindOverride(site_url);
    if (own && own->insecure_http) return;
    throw Failure(
        E_ACCESSDENIED,
        "the access token would go over plain http, where whoever is on the way can read and use it; "
        "add the place by its https address, or with --insecure-http");
}

void OAuth::NoteInUse(const std::string& site, const std::string& token) {
    const std::lock_guard lock(m_mutex);
    if (!token.empty()) m_in_use.emplace(site, token);
}

bool OAuth::HasTokenInUse(const std::string& site) {
    const std::lock_guard lock(m_mutex);
    return std::any_of(m_in_use.begin(), m_in_use.end(), [&](const auto& use) { return use.first == site; });
}

std::optional<OAuth::Tokens> OAuth::Load(const std::string& key) const {
    const Json json = m_profile.LoadJson(kTokensFile);
    if (json.IsNull()) return std::nullopt;
    const auto member = json.FindMember(key.c_str());
    if (member == json.MemberEnd() || !member->value.IsObject()) return std::nullopt;
    const auto open = [&](const char* name) {
        const std::string stored = TextOf(member->value, name);
        return stored.empty() ? std::string() : m_cipher->Decrypt(PurposeOf(key, name), stored);
    };
    try {
        return Tokens{open("access"), open("refresh"), NumberOf(member->value, "expires"),
                      NumberOf(member->value, "stored")};
    } catch (const Failure& failure) {
        m_profile.warn("stored tokens can't be used: " + std::string(failure.what()));
        return std::nullopt;
    }
}

void OAuth::Store(const std::string& key, const Tokens& tokens) const {
    m_profile.UpdateJson(kTokensFile, [&](Json& json) {
        if (!json.IsObject()) json.SetObject();
        auto& memory = json.GetAllocator();
        const auto closed = [&](const char* name, const std::string& secret) {
            const std::string text = secret.empty() ? "" : m_cipher->Encrypt(PurposeOf(key, name), secret);
            return rapidjson::Value(text.c_str(), memory);
        };
        rapidjson::Value entry(rapidjson::kObjectType);
        entry.AddMember("access", closed("access", tokens.access), memory);
        entry.AddMember("refresh", closed("refresh", tokens.refresh), memory);
        entry.AddMember("expires", tokens.expires, memory);
        entry.AddMember("stored", Microseconds(), memory);
        SetMember(json, key, std::move(entry), memory);
    });
}

void OAuth::Forget(const std::string& site_url, const std::string& user) const {
    if (!fs::exists(m_profile.file(kTokensFile))) return;
    // A scope names the server without its port, in the case in which it was typed.
    std::string server = ServerOf(site_url);
    const std::size_t host = server.find("://") + 3;
    const std::size_t colon = server.find(':', server.find(']') < server.size() ? server.find(']') : host);
    server = " " + server.substr(0, colon) + "/";
    m_profile.UpdateJson(kTokensFile, [&](Json& json) {
        if (!json.IsObject()) return;
        for (auto member = json.MemberBegin(); member != json.MemberEnd();) {
            std::string key = member->name.GetString();
            const bool is_of_user = key.ends_with(" " + user) || key.ends_with(' ');
            std::transform(key.begin(), key.end(), key.begin(), ToLowerAscii);
            const bool is_of_server = key.find(server) != std::string::npos;
            member = is_of_server && is_of_user ? json.EraseMember(member) : member + 1;
        }
    });
}

std::optional<OAuth::Tokens> OAuth::ReadTokens(const FormAnswer& answer, const Json& json) {
    const std::string access = TextOf(json, "access_token");
    if (answer.status != 200 || access.empty()) return std::nullopt;
    return Tokens{access, TextOf(json, "refresh_token"),
                  std::time(nullptr) + SecondsOf(json, "expires_in", kDefaultLifetime)};
}

std::optional<OAuth::Tokens> OAuth::Refresh(const OAuthRequest& request,
                                            const std::string& refresh_token) const {
    const FormAnswer answer = PostForm(Endpoint(request, "token"), {{"grant_type", "refresh_token"},
                                                                    {"client_id", request.client_id},
                                                                    {"scope", FullScope(request)},
                                                                    {"refresh_token", refresh_token}});
    const Json json = ParseJsonObject(answer.body);
    // A server error doesn't mean that the token is bad, and a new sign-in would fail in the same way.
    if (answer.status >= 500 || answer.status == kTooManyRequests) ThrowRefusal(answer, json);
    std::optional<Tokens> tokens = ReadTokens(answer, json);
    if (tokens && tokens->refresh.empty()) tokens->refresh = refresh_token;
    return tokens;
}

OAuth::Tokens OAuth::SignIn(const OAuthRequest& request) const {
    const bool by_code = request.flow.empty() ? m_prompts.CanOpenPages() : request.flow == "code";
    return by_code ? SignInByCode(request) : SignInByDevice(request);
}

OAuth::Tokens OAuth::SignInByCode(const OAuthRequest& request) const {
    RequirePrivateWay(Endpoint(request, "authorize"));
    const CodeAnswer code = AskForCode({Endpoint(request, "authorize"), request.client_id, FullScope(request),
                                        request.user, request.redirect},
                                       m_prompts);
    const FormAnswer answer = PostForm(Endpoint(request, "token"), {{"grant_type", "authorization_code"},
                                                                    {"client_id", request.client_id},
                                                                    {"scope", FullScope(request)},
                                                                    {"code", code.code},
                                                                    {"redirect_uri", code.redirect_uri},
                                                                    {"code_verifier", code.verifier}});
    const Json json = ParseJsonObject(answer.body);
    const std::optional<Tokens> tokens = ReadTokens(answer, json);
    if (!tokens) ThrowRefusal(answer, json);
    return *tokens;
}

OAuth::Tokens OAuth::SignInByDevice(const OAuthRequest& request) const {
    const FormAnswer offer = PostForm(Endpoint(request, "devicecode"),
                                      {{"client_id", request.client_id}, {"scope", FullScope(request)}});
    const Json code = ParseJsonObject(offer.body);
    const std::string device_code = TextOf(code, "device_code");
    std::string address = TextOf(code, "verification_uri");
    if (address.empty()) address = TextOf(code, "verification_url");
    if (offer.status != 200 || device_code.empty()) ThrowRefusal(offer, code);
    const auto notice = m_prompts.ShowCode(address, TextOf(code, "user_code"));
    const std::int64_t deadline = std::time(nullptr) + SecondsOf(code, "expires_in", kDefaultLifetime);
    auto interval = static_cast<int>(
        std::clamp<std::int64_t>(SecondsOf(code, "interval", kDefaultInterval), 1, kMaxInterval));
    while (std::time(nullptr) < deadline) {
        const FormAnswer answer = PostForm(Endpoint(request, "token"),
                                           {{"grant_type", "urn:ietf:params:oauth:grant-type:device_code"},
                                            {"client_id", request.client_id},
                                            {"device_code", device_code}},
                                           notice.get());
        const Json json = ParseJsonObject(answer.body);
        if (const auto tokens = ReadTokens(answer, json)) return *tokens;
        const std::string error = TextOf(json, "error");
        if (error == "slow_down") {
            interval = std::min(interval + kSlowDown, kMaxInterval);
        } else if (error != "authorization_pending") {
            ThrowRefusal(answer, json);
        }
        Wait(interval, *notice);
    }
    throw Failure(HRESULT_FROM_WIN32(1460), "nobody signed in before the code expired");
}

// The caller has no token or a refused one. A token from before this process may be the refused one, so only
// a token that another process has stored since is fresh.
bool OAuth::IsFresh(const OAuthRequest& request, const Tokens& tokens) const {
    return !tokens.access.empty() && !m_in_use.contains({request.site, tokens.access}) &&
           tokens.stored >= m_started && tokens.expires > std::time(nullptr) + 30;
}

std::string OAuth::GetToken(const OAuthRequest& request) {
    const std::lock_guard guard(m_mutex);
    fs::path lock_path = m_profile.file(kTokensFile);
    lock_path += ".signin.lock";
    // While one process renews the token, the others wait and then use it.
    const auto lock = FileLock::Take(lock_path, FileLock::Mode::exclusive, 120000);
    if (!lock) throw Failure(kInUse, "another sphost is signing in");
    const std::string key = KeyOf(request);
    std::optional<Tokens> tokens = Load(key);
    if (!tokens || !IsFresh(request, *tokens)) {
        // A token that is refused right after its renewal is not renewed again.
        const bool was_renewed =
            tokens && m_renewed.contains(tokens->access) && tokens->expires > std::time(nullptr) + 30;
        std::optional<Tokens> renewed;
        if (tokens && !tokens->refresh.empty() && !was_renewed) renewed = Refresh(request, tokens->refresh);
        if (renewed) m_renewed.insert(renewed->access);
        tokens = renewed ? *renewed : SignIn(request);
        Store(key, *tokens);
    }
    m_in_use.emplace(request.site, tokens->access);
    return tokens->access;
}

}  // namespace host
