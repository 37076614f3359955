// Signing in by an exchange of tokens from GSS-API, for a name and a password: by Negotiate (RFC 4559, SPNEGO
// of RFC 4178), and by NTLM (MS-NTHT) for those whom libcurl can't sign in by it.
// One thread at a time; each belongs to one connection.
#pragma once

#include <gssapi/gssapi.h>

#include <string>
#include <string_view>

#include "internet/credentials.h"

namespace platform::internet {

class Negotiation {
public:
    // Whether this is how to sign in with the credentials by the scheme (a CURLAUTH_ bit): libcurl's NTLM
    // takes each byte of a name or a password for a letter.
    static bool is_needed(unsigned long scheme, const Credentials& credentials);

    // Begins, with the first token made. Whether the mechanisms that GSS-API has can use the credentials
    // shows in the token, which is empty if they can't.
    Negotiation(unsigned long scheme, const std::string& host, const Credentials& credentials);
    ~Negotiation();
    Negotiation(const Negotiation&) = delete;
    Negotiation& operator=(const Negotiation&) = delete;

    // The next value of "Authorization"; empty when there is nothing to say.
    std::string authorization() const;
    // Makes the next token out of the one in the server's challenge; false when there is none in it, or when
    // it goes no further.
    bool take(std::string_view challenge);

private:
    bool acquire(const Credentials& credentials);
    bool step(gss_buffer_desc input);

    struct Scheme {
        std::string_view name;
        gss_OID mechanism;
    };
    static const Scheme& scheme_of(unsigned long scheme);

    const Scheme& m_scheme;
    gss_name_t m_target = GSS_C_NO_NAME;
    gss_cred_id_t m_credential = GSS_C_NO_CREDENTIAL;
    gss_ctx_id_t m_context = GSS_C_NO_CONTEXT;
    bool m_complete = false;
    std::string m_token;
};

// The token of a challenge's value, such as "Negotiate oYG2..."; empty for one without, or of another scheme.
std::string_view token_of(std::string_view challenge, std::string_view scheme);

}  // namespace platform::internet
