#include "internet/negotiation.h"

#include <curl/curl.h>
#include <gssapi/gssapi_ext.h>
#include <openssl/evp.h>

#include <algorithm>

#include "internet/headers.h"
#include "internet/kerberos.h"
#include "platform/sign_in_notes.h"

namespace platform::internet {

namespace {

constexpr std::size_t kLongestToken = 64 * 1024;

char spnego_bytes[] = "\x2b\x06\x01\x05\x05\x02";
gss_OID_desc spnego{6, spnego_bytes};
char ntlm_bytes[] = "\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a";
gss_OID_desc ntlm{10, ntlm_bytes};

char kerberos_bytes[] = "\x2a\x86\x48\x86\xf7\x12\x01\x02\x02";
gss_OID_desc kerberos{9, kerberos_bytes};

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

// What the mechanism says of its error.
std::string TextOfFailure(OM_uint32 code, gss_OID mechanism) {
    OM_uint32 minor = 0, more = 0;
    gss_buffer_desc text = GSS_C_EMPTY_BUFFER;
    if (GSS_ERROR(gss_display_status(&minor, code, GSS_C_MECH_CODE, mechanism, &more, &text)))
        return "error " + std::to_string(code);
    std::string words(static_cast<const char*>(text.value), text.length);
    gss_release_buffer(&minor, &text);
    return words;
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

bool Negotiation::IsNeeded(unsigned long scheme, const Credentials& credentials) {
    return scheme == CURLAUTH_NEGOTIATE ||
           (scheme == CURLAUTH_NTLM && !(IsAscii(credentials.user) && IsAscii(credentials.password)));
}

Negotiation::Negotiation(unsigned long scheme, const std::string& host, const Credentials& credentials)
    : m_scheme(scheme == CURLAUTH_NTLM ? "NTLM" : "Negotiate"),
      m_host(host),
      m_target(ImportName("HTTP@" + host, GSS_C_NT_HOSTBASED_SERVICE)) {
    if (m_target == GSS_C_NO_NAME) return;
    if (scheme == CURLAUTH_NEGOTIATE && BeginWithKerberos(credentials)) return;
    if (!credentials.user.empty()) BeginWithNtlm(credentials);
}

Negotiation::~Negotiation() {
    OM_uint32 minor = 0;
    Drop();
    if (m_target != GSS_C_NO_NAME) gss_release_name(&minor, &m_target);
}

void Negotiation::Drop() {
    OM_uint32 minor = 0;
    if (m_context != GSS_C_NO_CONTEXT) gss_delete_sec_context(&minor, &m_context, GSS_C_NO_BUFFER);
    if (m_credential != GSS_C_NO_CREDENTIAL) gss_release_cred(&minor, &m_credential);
    m_token.clear();
    m_complete = false;
}

// Other mechanisms would be offered, too, with whatever name this machine has for the person: so Kerberos
// alone.
bool Negotiation::BeginWithKerberos(const Credentials& credentials) {
    const bool own = credentials.user.empty();
    const std::string principal = own ? std::string() : PrincipalFor(credentials.user, m_host);
    if (!own && principal.empty()) return false;
    OM_uint32 minor = 0;
    gss_OID_set_desc kerberos_alone{1, &kerberos};
    if (Acquire(principal, credentials.password, &spnego) &&
        !GSS_ERROR(gss_set_neg_mechs(&minor, m_credential, &kerberos_alone)) && Step({0, nullptr}))
        return true;
    // The frame around the mechanisms doesn't tell why.
    Drop();
    if (Acquire(principal, credentials.password, &kerberos)) Step({0, nullptr});
    Drop();
    if (!own) {
        if (std::string why = WhyNoTicket(principal, credentials.password); !why.empty())
            m_problem = std::move(why);
    }
    NoteSignIn("Kerberos can't sign " + (own ? "you" : "'" + credentials.user + "'") + " in to " + m_host +
               ": " + m_problem + (own ? "; 'kinit' gets a new ticket" : ""));
    return false;
}

bool Negotiation::BeginWithNtlm(const Credentials& credentials) {
    return Acquire(credentials.user, credentials.password, &ntlm) && Step({0, nullptr});
}

// An empty user for the tickets that the person has.
bool Negotiation::Acquire(const std::string& user, std::string password, gss_OID mechanism) {
    OM_uint32 minor = 0;
    m_mechanism = mechanism;
    gss_OID_set_desc mechanisms{1, mechanism};
    OM_uint32 major = GSS_S_COMPLETE;
    if (user.empty()) {
        major = gss_acquire_cred(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE,
                                 &m_credential, nullptr, nullptr);
    } else {
        gss_name_t name = ImportName(user, GSS_C_NT_USER_NAME);
        if (name == GSS_C_NO_NAME) return false;
        gss_buffer_desc secret = BufferOf(password);
        major = gss_acquire_cred_with_password(&minor, name, &secret, GSS_C_INDEFINITE, &mechanisms,
                                               GSS_C_INITIATE, &m_credential, nullptr, nullptr);
        gss_release_name(&minor, &name);
    }
    if (GSS_ERROR(major)) m_problem = TextOfFailure(minor, mechanism);
    return !GSS_ERROR(major);
}

std::string Negotiation::authorization() const {
    return m_token.empty() ? std::string() : std::string(m_scheme) + " " + m_token;
}

bool Negotiation::Take(std::string_view challenge) {
    const std::string_view token = TokenOf(challenge, m_scheme);
    if (token.empty()) return false;
    m_token.clear();
    std::string bytes = FromBase64(token);
    return !m_complete && !bytes.empty() && Step(BufferOf(bytes)) && !m_token.empty();
}

bool Negotiation::Step(gss_buffer_desc input) {
    OM_uint32 minor = 0;
    gss_buffer_desc output = GSS_C_EMPTY_BUFFER;
    const OM_uint32 major =
        gss_init_sec_context(&minor, m_credential, &m_context, m_target, m_mechanism, GSS_C_MUTUAL_FLAG, 0,
                             GSS_C_NO_CHANNEL_BINDINGS, &input, nullptr, &output, nullptr, nullptr);
    if (!GSS_ERROR(major) && output.length) m_token = ToBase64(output);
    if (GSS_ERROR(major)) m_problem = TextOfFailure(minor, m_mechanism);
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
