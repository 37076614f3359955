#include "auth/sign_in.h"

#include <stdexcept>

#include "auth/negotiate.h"
#include "auth/password.h"
#include "base/text.h"

namespace devserver {

SignIn::SignIn(Store& store, Tickets& tickets, const std::vector<std::string>& schemes,
               const FormsOptions& forms, const std::string& data_folder, const std::string& key_table) {
    if (!key_table.empty()) m_keys = std::make_shared<ServiceKeys>(key_table);
    for (const auto& name : schemes)
        m_schemes.push_back(MakeScheme(store, tickets, name, forms, data_folder));
}

std::unique_ptr<Authenticator> SignIn::MakeScheme(Store& store, Tickets& tickets, const std::string& name,
                                                  const FormsOptions& forms, const std::string& data_folder) {
    if (name == "bearer") return std::make_unique<BearerAuthenticator>(store, tickets);
    if (name == "basic") return std::make_unique<BasicAuthenticator>(store);
    if (name == "digest") return std::make_unique<DigestAuthenticator>(store);
    if (name == "ntlm" || name == "negotiate") {
        if (!m_accounts) m_accounts = std::make_shared<NtlmAccounts>(store, data_folder);
        auto is_ntlm = name == "ntlm";
        return std::make_unique<NegotiateAuthenticator>(store, m_accounts, is_ntlm ? nullptr : m_keys,
                                                        is_ntlm ? "NTLM" : "Negotiate");
    }
    if (name == "forms") {
        auto scheme = std::make_unique<FormsAuthenticator>(store, tickets, forms);
        m_forms = scheme.get();
        return scheme;
    }
    throw std::invalid_argument("unknown way of signing in '" + name +
                                "': use bearer, basic, digest, ntlm, negotiate or forms");
}

std::optional<http::Response> SignIn::Handle(http::Request& request) {
    return m_forms ? m_forms->Handle(request) : std::nullopt;
}

std::optional<User> SignIn::Authenticate(const http::Request& request) {
    for (auto& scheme : m_schemes) scheme->ForgetOtherWays(request);
    for (auto& scheme : m_schemes)
        if (auto user = scheme->Authenticate(request)) return user;
    return std::nullopt;
}

void SignIn::Conclude(const http::Request& request, http::Response& response) {
    for (auto& scheme : m_schemes) scheme->Conclude(request, response);
}

http::Response SignIn::Challenge(const http::Request& request) {
    for (auto& scheme : m_schemes)
        if (scheme->InExchange(request)) return scheme->Challenge(request);
    // The client's header about sign-in pages decides, whatever the order of the schemes (MS-OFBA 2.2.1).
    auto pages = request.headers.get("X-Forms_Based_Auth_Accepted");
    if (m_forms && EqualsIgnoringCase(pages, "t")) return m_forms->Challenge(request);
    bool no_pages = m_schemes.size() > 1 && EqualsIgnoringCase(pages, "f");
    std::optional<http::Response> response;
    for (auto& scheme : m_schemes) {
        if (no_pages && scheme.get() == m_forms) continue;
        auto own = scheme->Challenge(request);
        if (response) {
            AddChallenges(own, *response);
        } else {
            response = std::move(own);
        }
    }
    return std::move(*response);
}

void AddChallenges(const http::Response& from, http::Response& to) {
    for (const auto& [name, value] : from.headers.all())
        if (EqualsIgnoringCase(name, "WWW-Authenticate")) to.headers.Add(name, value);
}

}  // namespace devserver
