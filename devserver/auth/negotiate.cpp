#include "auth/negotiate.h"

#include <gssapi/gssapi.h>

#include <algorithm>
#include <iostream>

#include "auth/password.h"
#include "base/text.h"

namespace devserver {
namespace {

constexpr std::size_t kLongestToken = 64 * 1024;

// The exchange of one connection, and its result.
struct Exchange : http::Attachment {
    explicit Exchange(std::string name) : scheme(std::move(name)) {}
    ~Exchange() override { Drop(); }

    void Drop() {
        OM_uint32 minor = 0;
        if (context != GSS_C_NO_CONTEXT) gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
    }

    const std::string scheme;
    gss_cred_id_t credential = GSS_C_NO_CREDENTIAL;  // borrowed
    gss_ctx_id_t context = GSS_C_NO_CONTEXT;
    std::string answer;  // the token that the client waits for
    Id user = 0;         // 0: not signed in yet
};

Exchange* ExchangeOf(const http::Request& request, const std::string& scheme) {
    auto* exchange =
        request.connection ? dynamic_cast<Exchange*>(request.connection->sign_in.get()) : nullptr;
    return exchange && exchange->scheme == scheme ? exchange : nullptr;
}

// The type of an NTLM message (MS-NLMP 2.2.1), 0 for anything else.
int NtlmType(std::string_view token) {
    constexpr std::string_view kSignature("NTLMSSP\0", 8);
    return token.size() > 12 && token.substr(0, kSignature.size()) == kSignature ? token[8] : 0;
}

std::size_t NumberAt(std::string_view bytes, std::size_t at) {
    std::size_t value = 0;
    for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

void PutNumberAt(std::string& bytes, std::size_t at, std::size_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(value >> 8 * i & 255);
}

// Several clients send messages without the version field, and servers accept them; the mechanism doesn't. So
// an empty field is inserted, and the offsets of what follows it in a message of type 3 are moved.
void AddMissingVersion(std::string& token) {
    constexpr std::size_t kVersionSize = 8, kFirstSize = 40, kThirdSize = 64;
    if (NtlmType(token) == 1 && token.size() < kFirstSize) token.resize(kFirstSize, '\0');
    if (NtlmType(token) != 3 || token.size() < kThirdSize) return;
    constexpr std::size_t kOffsets[] = {16, 24, 32, 40, 48, 56};
    bool has_version = std::ranges::none_of(
        kOffsets, [&](auto at) { return NumberAt(token, at - 4) != 0 && NumberAt(token, at) == kThirdSize; });
    if (has_version) return;
    for (auto at : kOffsets) PutNumberAt(token, at, NumberAt(token, at) + kVersionSize);
    token.insert(kThirdSize, kVersionSize, '\0');
}

// Whether this is a client's first message: of NTLM, or of any mechanism in GSS-API's frame (RFC 2743 3.1).
bool BeginsExchange(std::string_view token) {
    return NtlmType(token) == 1 || token.front() == 0x60;
}

std::string TextOf(gss_buffer_desc buffer) {
    return {static_cast<const char*>(buffer.value), buffer.length};
}

// "CONTOSO\alice"; empty for an anonymous user.
std::string NameOf(gss_name_t name) {
    OM_uint32 minor = 0;
    gss_buffer_desc shown = GSS_C_EMPTY_BUFFER;
    if (name == GSS_C_NO_NAME || GSS_ERROR(gss_display_name(&minor, name, &shown, nullptr))) return {};
    auto text = TextOf(shown);
    gss_release_buffer(&minor, &shown);
    return text.substr(0, text.find('\0'));  // some include a terminating zero
}

// What the mechanism says of a failure, such as "Request is a replay".
std::string WhyOf(OM_uint32 code) {
    OM_uint32 minor = 0, more = 0;
    gss_buffer_desc shown = GSS_C_EMPTY_BUFFER;
    if (GSS_ERROR(gss_display_status(&minor, code, GSS_C_MECH_CODE, GSS_C_NO_OID, &more, &shown))) return {};
    auto text = TextOf(shown);
    gss_release_buffer(&minor, &shown);
    return text;
}

// Takes the client's next token; `signed_in` is the user's name once it is known. False for a failure.
bool Accept(Exchange& exchange, std::string token, std::string& signed_in) {
    AddMissingVersion(token);
    OM_uint32 minor = 0, flags = 0;
    gss_buffer_desc input{token.size(), token.data()}, output = GSS_C_EMPTY_BUFFER;
    gss_name_t source = GSS_C_NO_NAME;
    auto major = gss_accept_sec_context(&minor, &exchange.context, exchange.credential, &input,
                                        GSS_C_NO_CHANNEL_BINDINGS, &source, nullptr, &output, &flags, nullptr,
                                        nullptr);
    exchange.answer = Base64Encode(TextOf(output));
    if (GSS_ERROR(major)) std::clog << "a token was refused: " << WhyOf(minor) << '\n';
    gss_release_buffer(&minor, &output);
    if (major == GSS_S_COMPLETE && !(flags & GSS_C_ANON_FLAG)) signed_in = NameOf(source);
    if (source != GSS_C_NO_NAME) gss_release_name(&minor, &source);
    return major == GSS_S_CONTINUE_NEEDED ? !exchange.answer.empty() : !signed_in.empty();
}

}  // namespace

std::optional<User> NegotiateAuthenticator::Authenticate(const http::Request& request) {
    auto* exchange = ExchangeOf(request, m_scheme);
    if (!request.headers.Has("Authorization"))
        return exchange && exchange->user ? m_store.UserById(exchange->user) : std::nullopt;
    auto text = CredentialsOf(request, m_scheme);
    if (!text || !request.connection) return std::nullopt;
    auto& memory = request.connection->sign_in;
    auto token = text->size() <= kLongestToken ? Base64Decode(*text) : std::nullopt;
    if (!token || token->empty()) {
        memory.reset();
        return std::nullopt;
    }
    if (!exchange || exchange->user || BeginsExchange(*token)) {
        auto fresh = std::make_shared<Exchange>(m_scheme);
        fresh->credential =
            m_keys && ServiceKeys::Take(*token) ? m_keys->credential() : m_accounts->credential();
        exchange = fresh.get();
        memory = fresh;
    }
    std::string name;
    bool goes_on = Accept(*exchange, *token, name);
    auto user = name.empty() ? std::nullopt : UserByTypedName(m_store, name);
    if (user) {
        exchange->Drop();
        exchange->user = user->id;
    } else if (!goes_on || !name.empty()) {
        memory.reset();
    }
    return user;
}

bool NegotiateAuthenticator::InExchange(const http::Request& request) const {
    auto* exchange = ExchangeOf(request, m_scheme);
    return exchange && !exchange->user && CredentialsOf(request, m_scheme);
}

void NegotiateAuthenticator::Conclude(const http::Request& request, http::Response& response) {
    auto* exchange = ExchangeOf(request, m_scheme);
    if (!exchange || exchange->answer.empty() || !CredentialsOf(request, m_scheme)) return;
    response.headers.Add("WWW-Authenticate", m_scheme + " " + exchange->answer);
    exchange->answer.clear();
}

void NegotiateAuthenticator::ForgetOtherWays(const http::Request& request) {
    if (ExchangeOf(request, m_scheme) && request.headers.Has("Authorization") &&
        !CredentialsOf(request, m_scheme))
        request.connection->sign_in.reset();
}

http::Response NegotiateAuthenticator::Challenge(const http::Request& request) {
    if (!InExchange(request)) return Unauthorized(m_scheme);
    auto response = Unauthorized(m_scheme + " " + ExchangeOf(request, m_scheme)->answer);
    response.keep = true;  // on another connection the client would begin again
    return response;
}

}  // namespace devserver
