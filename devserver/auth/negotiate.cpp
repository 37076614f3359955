#include "auth/negotiate.h"

#include <gssapi/gssapi.h>

#include <algorithm>

#include "auth/password.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr std::size_t longest_token = 64 * 1024;

// The exchange of one connection, and its result.
struct Exchange : http::Attachment {
    explicit Exchange(std::string name) : scheme(std::move(name)) {}
    ~Exchange() override { drop(); }

    void drop() {
        OM_uint32 minor = 0;
        if (context != GSS_C_NO_CONTEXT) gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
    }

    const std::string scheme;
    gss_ctx_id_t context = GSS_C_NO_CONTEXT;
    std::string answer;  // the token that the client waits for
    Id user = 0;         // 0: not signed in yet
};

Exchange* exchange_of(const http::Request& request, const std::string& scheme) {
    auto* exchange =
        request.connection ? dynamic_cast<Exchange*>(request.connection->sign_in.get()) : nullptr;
    return exchange && exchange->scheme == scheme ? exchange : nullptr;
}

// The type of an NTLM message (MS-NLMP 2.2.1), 0 for anything else.
int ntlm_type(std::string_view token) {
    constexpr std::string_view signature("NTLMSSP\0", 8);
    return token.size() > 12 && token.substr(0, signature.size()) == signature ? token[8] : 0;
}

std::size_t number_at(std::string_view bytes, std::size_t at) {
    std::size_t value = 0;
    for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

void put_number_at(std::string& bytes, std::size_t at, std::size_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(value >> 8 * i & 255);
}

// Several clients send messages without the version field, and servers accept them; the mechanism doesn't. So
// an empty field is inserted, and the offsets of what follows it in a message of type 3 are moved.
void add_missing_version(std::string& token) {
    constexpr std::size_t version_size = 8, first_size = 40, third_size = 64;
    if (ntlm_type(token) == 1 && token.size() < first_size) token.resize(first_size, '\0');
    if (ntlm_type(token) != 3 || token.size() < third_size) return;
    constexpr std::size_t offsets[] = {16, 24, 32, 40, 48, 56};
    bool has_version = std::ranges::none_of(offsets, [&](auto at) {
        return number_at(token, at - 4) != 0 && number_at(token, at) == third_size;
    });
    if (has_version) return;
    for (auto at : offsets) put_number_at(token, at, number_at(token, at) + version_size);
    token.insert(third_size, version_size, '\0');
}

// Whether this is a client's first message: of NTLM, or of any mechanism in GSS-API's frame (RFC 2743 3.1).
bool begins_exchange(std::string_view token) {
    return ntlm_type(token) == 1 || token.front() == 0x60;
}

std::string text_of(gss_buffer_desc buffer) {
    return {static_cast<const char*>(buffer.value), buffer.length};
}

// "CONTOSO\alice"; empty for an anonymous user.
std::string name_of(gss_name_t name) {
    OM_uint32 minor = 0;
    gss_buffer_desc shown = GSS_C_EMPTY_BUFFER;
    if (name == GSS_C_NO_NAME || GSS_ERROR(gss_display_name(&minor, name, &shown, nullptr))) return {};
    auto text = text_of(shown);
    gss_release_buffer(&minor, &shown);
    return text.substr(0, text.find('\0'));  // some include a terminating zero
}

// Takes the client's next token; `signed_in` is the user's name once it is known. False for a failure.
bool accept(gss_cred_id_t credential, Exchange& exchange, std::string token, std::string& signed_in) {
    add_missing_version(token);
    OM_uint32 minor = 0, flags = 0;
    gss_buffer_desc input{token.size(), token.data()}, output = GSS_C_EMPTY_BUFFER;
    gss_name_t source = GSS_C_NO_NAME;
    auto major =
        gss_accept_sec_context(&minor, &exchange.context, credential, &input, GSS_C_NO_CHANNEL_BINDINGS,
                               &source, nullptr, &output, &flags, nullptr, nullptr);
    exchange.answer = base64_encode(text_of(output));
    gss_release_buffer(&minor, &output);
    if (major == GSS_S_COMPLETE && !(flags & GSS_C_ANON_FLAG)) signed_in = name_of(source);
    if (source != GSS_C_NO_NAME) gss_release_name(&minor, &source);
    return major == GSS_S_CONTINUE_NEEDED ? !exchange.answer.empty() : !signed_in.empty();
}

}  // namespace

std::optional<User> NegotiateAuthenticator::authenticate(const http::Request& request) {
    auto* exchange = exchange_of(request, m_scheme);
    if (!request.headers.has("Authorization"))
        return exchange && exchange->user ? m_store.user_by_id(exchange->user) : std::nullopt;
    auto text = credentials_of(request, m_scheme);
    if (!text || !request.connection) return std::nullopt;
    auto& memory = request.connection->sign_in;
    auto token = text->size() <= longest_token ? base64_decode(*text) : std::nullopt;
    if (!token || token->empty()) {
        memory.reset();
        return std::nullopt;
    }
    if (!exchange || exchange->user || begins_exchange(*token)) {
        auto fresh = std::make_shared<Exchange>(m_scheme);
        exchange = fresh.get();
        memory = fresh;
    }
    std::string name;
    bool goes_on = accept(m_accounts->credential(), *exchange, *token, name);
    auto user = name.empty() ? std::nullopt : user_by_typed_name(m_store, name);
    if (user) {
        exchange->drop();
        exchange->user = user->id;
    } else if (!goes_on || !name.empty()) {
        memory.reset();
    }
    return user;
}

bool NegotiateAuthenticator::in_exchange(const http::Request& request) const {
    auto* exchange = exchange_of(request, m_scheme);
    return exchange && !exchange->user && credentials_of(request, m_scheme);
}

void NegotiateAuthenticator::conclude(const http::Request& request, http::Response& response) {
    auto* exchange = exchange_of(request, m_scheme);
    if (!exchange || exchange->answer.empty() || !credentials_of(request, m_scheme)) return;
    response.headers.add("WWW-Authenticate", m_scheme + " " + exchange->answer);
    exchange->answer.clear();
}

void NegotiateAuthenticator::forget_other_ways(const http::Request& request) {
    if (exchange_of(request, m_scheme) && request.headers.has("Authorization") &&
        !credentials_of(request, m_scheme))
        request.connection->sign_in.reset();
}

http::Response NegotiateAuthenticator::challenge(const http::Request& request) {
    if (!in_exchange(request)) return unauthorized(m_scheme);
    auto response = unauthorized(m_scheme + " " + exchange_of(request, m_scheme)->answer);
    response.keep = true;  // on another connection the client would begin again
    return response;
}

}  // namespace devserver
