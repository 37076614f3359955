#include "auth/password.h"

#include <openssl/evp.h>

#include "base/crypto.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr Seconds kNonceLifetime = 300;
constexpr char kRealm[] = "site";

// name=value pairs with quoted or plain values, separated by commas.
std::map<std::string, std::string> ParseFields(std::string_view text) {
    std::map<std::string, std::string> fields;
    for (std::size_t at = 0; at < text.size();) {
        auto equals = text.find('=', at);
        if (equals == std::string_view::npos) break;
        auto name = ToLower(Trim(text.substr(at, equals - at)));
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
            value = Trim(text.substr(at, comma == std::string_view::npos ? comma : comma - at));
            at = comma;
        }
        fields[name] = value;
        if (at == std::string_view::npos) break;
        ++at;
    }
    return fields;
}

std::string Hash(const std::string& algorithm, const std::string& text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    const EVP_MD* method = EqualsIgnoringCase(algorithm, "SHA-256") ? EVP_sha256() : EVP_md5();
    if (EVP_Digest(text.data(), text.size(), digest, &size, method, nullptr) != 1) return {};
    return HexEncode({reinterpret_cast<const char*>(digest), size});
}

}  // namespace

std::optional<User> UserByTypedName(Store& store, const std::string& name) {
    if (auto user = store.UserByName(name)) return user;
    if (auto slash = name.find('\\'); slash != std::string::npos)
        return store.UserByName(name.substr(slash + 1));
    return store.UserByName(name.substr(0, name.find('@')));
}

std::optional<User> BasicAuthenticator::Authenticate(const http::Request& request) {
    auto credentials = CredentialsOf(request, "Basic");
    if (!credentials) return std::nullopt;
    auto pair = Base64Decode(*credentials);
    if (!pair) return std::nullopt;
    auto colon = pair->find(':');
    if (colon == std::string::npos) return std::nullopt;
    auto user = UserByTypedName(m_store, pair->substr(0, colon));
    if (!user || !EqualInConstantTime(user->password, pair->substr(colon + 1))) return std::nullopt;
    return user;
}

http::Response BasicAuthenticator::Challenge(const http::Request&) {
    return Unauthorized(std::string("Basic realm=\"") + kRealm + "\", charset=\"UTF-8\"");
}

std::string DigestAuthenticator::MakeNonce() {
    std::uint64_t number;
    {
        std::lock_guard lock(m_mutex);
        number = ++m_made;
    }
    auto time = std::to_string(Now()) + "." + std::to_string(number) + "." + HexEncode(RandomBytes(8));
    return time + "." + HmacSha512Hex(m_store.secret("nonce"), time).substr(0, 32);
}

DigestAuthenticator::Nonce DigestAuthenticator::CheckNonce(const std::string& nonce) {
    auto dot = nonce.rfind('.');
    if (dot == std::string::npos) return Nonce::foreign;
    auto time = nonce.substr(0, dot);
    if (!EqualInConstantTime(HmacSha512Hex(m_store.secret("nonce"), time).substr(0, 32),
                             nonce.substr(dot + 1)))
        return Nonce::foreign;
    auto made = ParseInteger(std::string_view(time).substr(0, time.find('.')));
    return made && *made + kNonceLifetime >= Now() ? Nonce::fresh : Nonce::stale;
}

bool DigestAuthenticator::TakeCount(const std::string& nonce, const std::string& count) {
    constexpr std::size_t kMostNonces = 10'000;
    std::lock_guard lock(m_mutex);
    if (m_counts.size() > kMostNonces) m_counts.erase(m_counts.begin());
    return m_counts[nonce].insert(count).second;
}

std::string DigestAuthenticator::ExpectedResponse(const http::Request& request, const Fields& fields,
                                                  const User& user) const {
    auto field = [&](const char* name) {
        auto found = fields.find(name);
        return found == fields.end() ? std::string() : found->second;
    };
    auto algorithm = field("algorithm");
    auto identity = Hash(algorithm, field("username") + ":" + kRealm + ":" + user.password);
    auto action = Hash(algorithm, request.method + ":" + field("uri"));
    return Hash(algorithm, identity + ":" + field("nonce") + ":" + field("nc") + ":" + field("cnonce") + ":" +
                               field("qop") + ":" + action);
}

std::optional<User> DigestAuthenticator::Authenticate(const http::Request& request) {
    auto credentials = CredentialsOf(request, "Digest");
    if (!credentials) return std::nullopt;
    auto fields = ParseFields(*credentials);
    if (fields["qop"] != "auth" || fields["nc"].size() != 8 || fields["realm"] != kRealm) return std::nullopt;
    auto& address = fields["uri"];
    if (address != request.target && address != request.base_url + request.target) return std::nullopt;
    auto user = UserByTypedName(m_store, fields["username"]);
    if (!user || CheckNonce(fields["nonce"]) != Nonce::fresh) return std::nullopt;
    if (!EqualInConstantTime(ExpectedResponse(request, fields, *user), ToLower(fields["response"])))
        return std::nullopt;
    if (!TakeCount(fields["nonce"], fields["nc"])) return std::nullopt;
    return user;
}

http::Response DigestAuthenticator::Challenge(const http::Request& request) {
    auto credentials = CredentialsOf(request, "Digest");
    bool stale = credentials && CheckNonce(ParseFields(*credentials)["nonce"]) == Nonce::stale;
    auto nonce = MakeNonce();
    auto challenge = [&](const char* algorithm) {
        return std::string("Digest realm=\"") + kRealm + "\", qop=\"auth\", algorithm=" + algorithm +
               ", nonce=\"" + nonce + "\", charset=UTF-8" + (stale ? ", stale=true" : "");
    };
    auto response = Unauthorized(challenge("SHA-256"));
    response.headers.Add("WWW-Authenticate", challenge("MD5"));
    return response;
}

}  // namespace devserver
