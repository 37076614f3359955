// Signing in by an exchange of GSS-API tokens: Negotiate (RFC 4559) by Kerberos in SPNEGO (RFC 4178), with
// the person's own ticket or with one for a name and a password, and by NTLM behind it; and NTLM (MS-NTHT)
// where libcurl's own can't be used. Nothing is delegated. One thread at a time; each belongs to one
// connection.
#pragma once

#include <gssapi/gssapi.h>

#include <string>
#include <string_view>

#include "internet/credentials.h"

namespace platform::internet {

class Negotiation {
public:
    // Whether this class signs in with the credentials by the scheme (a CURLAUTH_ bit), and not libcurl,
    // whose NTLM takes each byte of a name or a password for a letter.
    static bool IsNeeded(unsigned long scheme, const Credentials& credentials);

    // Makes the first token; credentials without a name stand for the person's own ticket. The token is empty
    // when no mechanism of GSS-API can use them. Why Kerberos couldn't is noted for people.
    Negotiation(unsigned long scheme, const std::string& host, const Credentials& credentials);
    ~Negotiation();
    Negotiation(const Negotiation&) = delete;
    Negotiation& operator=(const Negotiation&) = delete;

    // The next value of "Authorization"; empty when there is no token to send.
    std::string authorization() const;
    // Makes the next token from the one in the server's challenge; false when the challenge has none, or when
    // the exchange has ended.
    bool Take(std::string_view challenge);

private:
    bool BeginWithKerberos(const Credentials& credentials);
    bool BeginWithNtlm(const Credentials& credentials);
    bool Acquire(const std::string& user, std::string password, gss_OID mechanism);
    bool Step(gss_buffer_desc input);
    void Drop();

    const std::string_view m_scheme;  // as headers name it
    const std::string m_host;
    gss_OID m_mechanism = GSS_C_NO_OID;
    gss_name_t m_target = GSS_C_NO_NAME;
    gss_cred_id_t m_credential = GSS_C_NO_CREDENTIAL;
    gss_ctx_id_t m_context = GSS_C_NO_CONTEXT;
    bool m_complete = false;
    std::string m_token;
    std::string m_problem;  // the last failure of a call
};

// The token of a challenge's value, such as "Negotiate oYG2..."; empty for one without, or of another scheme.
std::string_view TokenOf(std::string_view challenge, std::string_view scheme);

}  // namespace platform::internet
