// Signing in by Negotiate (RFC 4559): tokens of SPNEGO (RFC 4178), from GSS-API, for a name and a password.
// One thread at a time; each belongs to one connection.
#pragma once

#include <gssapi/gssapi.h>

#include <string>
#include <string_view>

#include "internet/credentials.h"

namespace platform::internet {

class Negotiation {
public:
    // Begins, with the first token made. Whether the mechanisms that GSS-API has can use the credentials
    // shows in the token, which is empty if they can't.
    Negotiation(const std::string& host, const Credentials& credentials);
    ~Negotiation();
    Negotiation(const Negotiation&) = delete;
    Negotiation& operator=(const Negotiation&) = delete;

    // What goes to the server next, in base64; empty when there is nothing to say.
    const std::string& token() const { return m_token; }
    // Makes the next token out of the server's, in base64; false when it goes no further.
    bool take(std::string_view server_token);

private:
    bool acquire(const Credentials& credentials);
    bool step(gss_buffer_desc input);

    gss_name_t m_target = GSS_C_NO_NAME;
    gss_cred_id_t m_credential = GSS_C_NO_CREDENTIAL;
    gss_ctx_id_t m_context = GSS_C_NO_CONTEXT;
    bool m_complete = false;
    std::string m_token;
};

// The token of a challenge's value, such as "Negotiate oYG2..."; empty for one without.
std::string_view negotiate_token(std::string_view challenge);

}  // namespace platform::internet
