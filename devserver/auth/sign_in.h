// The ways of signing in that a site offers, tried in order.
// Owner: app/service; any thread.
#pragma once
#include <memory>
#include <string>
#include <vector>

#include "auth/authenticator.h"
#include "auth/forms.h"
#include "auth/ntlm_accounts.h"
#include "auth/service_keys.h"

namespace devserver {

class SignIn : public Authenticator {
public:
    // Schemes are bearer, basic, digest, ntlm, negotiate and forms; throws std::invalid_argument with one
    // clear line for others. Made before the first thread starts; NTLM keeps a file in `data_folder`.
    // `key_table` has the keys for tickets of Kerberos; empty for none.
    SignIn(Store& store, Tickets& tickets, const std::vector<std::string>& schemes, const FormsOptions& forms,
           const std::string& data_folder, const std::string& key_table);
    std::optional<User> Authenticate(const http::Request& request) override;
    // The first scheme's answer with a WWW-Authenticate header for each scheme, or, during an exchange, for
    // that scheme alone. A client that accepts sign-in pages gets the page, one that refuses them the other
    // schemes.
    http::Response Challenge(const http::Request& request) override;
    void Conclude(const http::Request& request, http::Response& response) override;
    // Serves the pages of a sign-in; nothing for any other path.
    std::optional<http::Response> Handle(http::Request& request);

private:
    std::unique_ptr<Authenticator> MakeScheme(Store& store, Tickets& tickets, const std::string& name,
                                              const FormsOptions& forms, const std::string& data_folder);

    std::shared_ptr<ServiceKeys> m_keys;       // if tickets of Kerberos are taken
    std::shared_ptr<NtlmAccounts> m_accounts;  // if one of the schemes needs them
    FormsAuthenticator* m_forms = nullptr;     // one of the schemes, if it is offered
    std::vector<std::unique_ptr<Authenticator>> m_schemes;
};

// Adds the WWW-Authenticate headers of one answer to another.
void AddChallenges(const http::Response& from, http::Response& to);

}  // namespace devserver
