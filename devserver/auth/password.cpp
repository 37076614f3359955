#include "auth/password.h"

#include <openssl/evp.h>

#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr Seconds nonce_lifetime = 300;
constexpr char realm[] = "site";

// name=value pairs with quoted or plain values, separated by commas.
std::map<std::string, std::string> parse_fields(std::string_view text) {
    std::map<std::string, std::string> fields;
    for (std::size_t at = 0; at < text.size();) {
        auto equals = text.find('=', at);
        if (equals == std::string_view::npos) break;
        auto name = to_lower(trim(text.substr(at, equals - at)));
        std::string value;
        at = equals + 1;
        if (at < text.size() && text[at] == '"') {
            for (++at; at < text.size() && text[at] != '"'; ++at) {
                if (text[at] == '\\' && at + 1 < text.size()) ++at;
                value += text[at];
            }
            at = text.find(',', at);
        } else {
            auto comma = text.find(',', at);
            value = trim(text.substr(at, comma == std::string_view::npos ? comma : comma - at));
            at = comma;
        }
        fields[name] = value;
        if (at == std::string_view::npos) break;
        ++at;
    }
    return fields;
}

std::string hash(const std::string& algorithm, const std::string& text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    const EVP_MD* method = equals_ignoring_case(algorithm, "SHA-256") ? EVP_sha256() : EVP_md5();
    if (EVP_Digest(text.data(), text.size(), digest, &size, method, nullptr) != 1) return {};
    return hex_encode({reinterpret_cast<const char*>(digest), size});
}

}  // namespace

std::optional<User> user_by_typed_name(Store& store, const std::string& name) {
    if (auto user = store.user_by_name(name)) return user;
    if (auto slash = name.find('\\'); slash != std::string::npos)
        return store.user_by_name(name.substr(slash + 1));
    return store.user_by_name(name.substr(0, name.find('@')));
}

std::optional<User> BasicAuthenticator::authenticate(const http::Request& request) {
    auto credentials = credentials_of(request, "Basic");
    if (!credentials) return std::nullopt;
    auto pair = base64_decode(*credentials);
    if (!pair) return std::nullopt;
    auto colon = pair->find(':');
    if (colon == std::string::npos) return std::nullopt;
    auto user = user_by_typed_name(m_store, pair->substr(0, colon));
    if (!user || !equal_in_constant_time(user->password, pair->substr(colon + 1))) return std::nullopt;
    return user;
}

http::Response BasicAuthenticator::challenge(const http::Request&) {
    return unauthorized(std::string("Basic realm=\"") + realm + "\", charset=\"UTF-8\"");
}

std::string DigestAuthenticator::make_nonce() {
    std::uint64_t number;
    {
        std::lock_guard lock(m_mutex);
        number = ++m_made;
    }
    auto time = std::to_string(now()) + "." + std::to_string(number) + "." + hex_encode(random_bytes(8));
    return time + "." + hmac_sha512_hex(m_store.secret("nonce"), time).substr(0, 32);
}

DigestAuthenticator::Nonce DigestAuthenticator::check_nonce(const std::string& nonce) {
    auto dot = nonce.rfind('.');
    if (dot == std::string::npos) return Nonce::foreign;
    auto time = nonce.substr(0, dot);
    if (!equal_in_constant_time(hmac_sha512_hex(m_store.secret("nonce"), time).substr(0, 32),
                                nonce.substr(dot + 1)))
        return Nonce::foreign;
    auto made = parse_integer(std::string_view(time).substr(0, time.find('.')));
    return made && *made + nonce_lifetime >= now() ? Nonce::fresh : Nonce::stale;
}

bool DigestAuthenticator::take_count(const std::string& nonce, const std::string& count) {
    constexpr std::size_t most_nonces = 10'000;
    std::lock_guard lock(m_mutex);
    if (m_counts.size() > most_nonces) m_counts.erase(m_counts.begin());
    return m_counts[nonce].insert(count).second;
}

std::string DigestAuthenticator::expected_response(const http::Request& request, const Fields& fields,
                                                   const User& user) const {
    auto field = [&](const char* name) {
        auto found = fields.find(name);
        return found == fields.end() ? std::string() : found->second;
    };
    auto algorithm = field("algorithm");
    auto identity = hash(algorithm, field("username") + ":" + realm + ":" + user.password);
    auto action = hash(algorithm, request.method + ":" + field("uri"));
    return hash(algorithm, identity + ":" + field("nonce") + ":" + field("nc") + ":" + field("cnonce") + ":" +
                               field("qop") + ":" + action);
}

std::optional<User> DigestAuthenticator::authenticate(const http::Request& request) {
    auto credentials = credentials_of(request, "Digest");
    if (!credentials) return std::nullopt;
    auto fields = parse_fields(*credentials);
    if (fields["qop"] != "auth" || fields["nc"].size() != 8 || fields["realm"] != realm) return std::nullopt;
    auto& address = fields["uri"];
    if (address != request.target && address != request.base_url + request.target) return std::nullopt;
    auto user = user_by_typed_name(m_store, fields["username"]);
    if (!user || check_nonce(fields["nonce"]) != Nonce::fresh) return std::nullopt;
    if (!equal_in_constant_time(expected_response(request, fields, *user), to_lower(fields["response"])))
        return std::nullopt;
    if (!take_count(fields["nonce"], fields["nc"])) return std::nullopt;
    return user;
}

http::Response DigestAuthenticator::challenge(const http::Request& request) {
    auto credentials = credentials_of(request, "Digest");
    bool stale = credentials && check_nonce(parse_fields(*credentials)["nonce"]) == Nonce::stale;
    auto nonce = make_nonce();
    auto challenge = [&](const char* algorithm) {
        return std::string("Digest realm=\"") + realm + "\", qop=\"auth\", algorithm=" + algorithm +
               ", nonce=\"" + nonce + "\", charset=UTF-8" + (stale ? ", stale=true" : "");
    };
    auto response = unauthorized(challenge("SHA-256"));
    response.headers.add("WWW-Authenticate", challenge("MD5"));
    return response;
}

}  // namespace devserver
