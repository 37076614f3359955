// The keys of the service "HTTP" in a Kerberos realm (RFC 4120), from a key table.
// Owner: auth/; made before the first thread starts, then any thread.
#pragma once
#include <gssapi/gssapi.h>

#include <string>
#include <string_view>

namespace devserver {

class ServiceKeys {
public:
    // Throws std::runtime_error with one clear line when the file has no keys that can be read.
    explicit ServiceKeys(const std::string& file);
    ~ServiceKeys();
    ServiceKeys(const ServiceKeys&) = delete;
    ServiceKeys& operator=(const ServiceKeys&) = delete;

    // For gss_accept_sec_context: Kerberos, plain or within SPNEGO.
    gss_cred_id_t credential() const { return m_credential; }
    // Whether a client's first token is one of Kerberos.
    static bool Take(std::string_view token);

private:
    gss_cred_id_t m_credential = GSS_C_NO_CREDENTIAL;
};

}  // namespace devserver
