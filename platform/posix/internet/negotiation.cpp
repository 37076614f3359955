#include "internet/negotiation.h"

#include <curl/curl.h>
#include <gssapi/gssapi_ext.h>
#include <openssl/evp.h>

#include <algorithm>

#include "internet/headers.h"

namespace platform::internet {

namespace {

constexpr std::size_t kLongestToken = 64 * 1024;

char spnego_bytes[] = "\x2b\x06\x01\x05\x05\x02";
gss_OID_desc spnego{6, spnego_bytes};
char ntlm_bytes[] = "\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a";
gss_OID_desc ntlm{10, ntlm_bytes};

bool IsAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Borrows the text.
gss_buffer_desc BufferOf(std::string& text) {
    return {text.size(), text.data()};
}

gss_name_t ImportName(std::string text, gss_OID kind) {
    OM_uint32 minor = 0;
    gss_buffer_desc buffer = BufferOf(text);
    gss_name_t name = GSS_C_NO_NAME;
    return GSS_ERROR(gss_import_name(&minor, &buffer, kind, &name)) ? GSS_C_NO_NAME : name;
}

std::string ToBase64(const gss_buffer_desc& bytes) {
    std::string text((bytes.length + 2) / 3 * 4 + 1, '\0');  // and the zero that is written behind it
    const int size =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        static_cast<const unsigned char*>(bytes.value), static_cast<int>(bytes.length));
    text.resize(static_cast<std::size_t>(size));
    return text;
}

// Nothing for what is no base64.
std::string FromBase64(std::string_view text) {
    if (text.empty() || text.size() % 4 != 0 || text.size() > kLongestToken) return {};
    std::string bytes(text.size() / 4 * 3, '\0');
    const int size =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (size < 0) return {};
    const std::size_t padding = text.size() - text.find_last_not_of('=') - 1;
    bytes.resize(padding <= 2 ? bytes.size() - padding : 0);
    return bytes;
}

}  // namespace

const Negotiation::Scheme& Negotiation::SchemeOf(unsigned long scheme) {
    static const Scheme negotiate_scheme{"Negotiate", &spnego};
    static const Scheme ntlm_scheme{"NTLM", &ntlm};
    return scheme == CURLAUTH_NTLM ? ntlm_scheme : negotiate_scheme;
}

bool Negotiation::IsNeeded(unsigned long scheme, const Credentials& credentials) {
    return scheme == CURLAUTH_NEGOTIATE ||
           (scheme == CURLAUTH_NTLM && !(IsAscii(credentials.user) && IsAscii(credentials.password)));
}

Negotiation::Negotiation(unsigned long scheme, const std::string& host, const Credentials& credentials)
    : m_scheme(SchemeOf(scheme)), m_target(ImportName("HTTP@" + host, GSS_C_NT_HOSTBASED_SERVICE)) {
    if (m_target != GSS_C_NO_NAME && Acquire(credentials)) Step({0, nullptr});
}

Negotiation::~Negotiation() {
    OM_uint32 minor = 0;
    if (m_context != GSS_C_NO_CONTEXT) gss_delete_sec_context(&minor, &m_context, GSS_C_NO_BUFFER);
    if (m_credential != GSS_C_NO_CREDENTIAL) gss_release_cred(&minor, &m_credential);
    if (m_target != GSS_C_NO_NAME) gss_release_name(&minor, &m_target);
}

bool Negotiation::Acquire(const Credentials& credentials) {
    OM_uint32 minor = 0;
    gss_name_t user = ImportName(credentials.user, GSS_C_NT_USER_NAME);
    if (user == GSS_C_NO_NAME) return false;
    std::string password = credentials.password;
    gss_buffer_desc secret = BufferOf(password);
    gss_OID_set_desc mechanisms{1, m_scheme.mechanism};
    const OM_uint32 major =
        gss_acquire_cred_with_password(&minor, user, &secret, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE,
                                       &m_credential, nullptr, nullptr);
    gss_release_name(&minor, &user);
    return !GSS_ERROR(major);
}

std::string Negotiation::authorization() const {
    return m_token.empty() ? std::string() : std::string(m_scheme.name) + " " + m_token;
}

bool Negotiation::Take(std::string_view challenge) {
    const std::string_view token = TokenOf(challenge, m_scheme.name);
    if (token.empty()) return false;
    m_token.clear();
    std::string bytes = FromBase64(token);
    return !m_complete && !bytes.empty() && Step(BufferOf(bytes)) && !m_token.empty();
}

bool Negotiation::Step(gss_buffer_desc input) {
    OM_uint32 minor = 0;
    gss_buffer_desc output = GSS_C_EMPTY_BUFFER;
    const OM_uint32 major = gss_init_sec_context(
        &minor, m_credential, &m_context, m_target, m_scheme.mechanism, GSS_C_MUTUAL_FLAG, 0,
        GSS_C_NO_CHANNEL_BINDINGS, &input, nullptr, &output, nullptr, nullptr);
    if (!GSS_ERROR(major) && output.length) m_token = ToBase64(output);
    gss_release_buffer(&minor, &output);
    m_complete = major == GSS_S_COMPLETE;
    return !GSS_ERROR(major);
}

std::string_view TokenOf(std::string_view challenge, std::string_view scheme) {
    if (!EqualsIgnoringCase(challenge.substr(0, scheme.size()), scheme)) return {};
    challenge.remove_prefix(scheme.size());
    const auto begin = challenge.find_first_not_of(' ');
    if (begin == 0 || begin == std::string_view::npos) return {};
    return challenge.substr(begin, challenge.find_last_not_of(' ') - begin + 1);
}

}  // namespace platform::internet
