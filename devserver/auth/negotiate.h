// Signing in by an exchange of tokens with one connection: NTLM and Negotiate over HTTP (RFC 4559, MS-NTHT),
// through the GSS-API mechanisms of this machine. A connection stays signed in until another Authorization
// header comes. Owner: auth/; any thread.
#pragma once
#include <memory>
#include <string>

#include "auth/authenticator.h"
#include "auth/ntlm_accounts.h"
#include "auth/service_keys.h"

namespace devserver {

class NegotiateAuthenticator : public Authenticator {
public:
    // `scheme` is "NTLM" or "Negotiate"; `keys` is null where no tickets of Kerberos are taken.
    NegotiateAuthenticator(Store& store, std::shared_ptr<NtlmAccounts> accounts,
                           std::shared_ptr<ServiceKeys> keys, std::string scheme)
        : m_store(store),
          m_accounts(std::move(accounts)),
          m_keys(std::move(keys)),
          m_scheme(std::move(scheme)) {}
    std::optional<User> Authenticate(const http::Request& request) override;
    http::Response Challenge(const http::Request& request) override;
    bool InExchange(const http::Request& request) const override;
    void Conclude(const http::Request& request, http::Response& response) override;
    void ForgetOtherWays(const http::Request& request) override;

private:
    Store& m_store;
    const std::shared_ptr<NtlmAccounts> m_accounts;
    const std::shared_ptr<ServiceKeys> m_keys;
    const std::string m_scheme;
};

}  // namespace devserver
