// The store's users for the NTLM mechanism of GSS-API, and the credential that accepts them.
// Owner: auth/; made before the first thread starts, then any thread.
#pragma once
#include <gssapi/gssapi.h>

#include <string>

#include "store/store.h"

namespace devserver {

class NtlmAccounts {
public:
    // Writes hashes of the users' passwords into a file of mode 0600 in `folder`. Throws std::runtime_error
    // with one clear line when that can't be done or this machine has no mechanism for NTLM.
    NtlmAccounts(Store& store, const std::string& folder);
    ~NtlmAccounts();
    NtlmAccounts(const NtlmAccounts&) = delete;
    NtlmAccounts& operator=(const NtlmAccounts&) = delete;

    // For gss_accept_sec_context: NTLM, plain or within SPNEGO.
    gss_cred_id_t credential() const { return m_credential; }

private:
    gss_cred_id_t m_credential = GSS_C_NO_CREDENTIAL;
};

}  // namespace devserver
