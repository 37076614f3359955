#include "internet/credentials.h"

#include <curl/curl.h>

namespace platform::internet {

CredentialStore& CredentialStore::Instance() {
    static CredentialStore* const store = new CredentialStore;
    return *store;
}

std::optional<Accepted> CredentialStore::Find(const std::string& origin) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_accepted.find(origin);
    return found != m_accepted.end() ? std::optional(found->second) : std::nullopt;
}

void CredentialStore::Remember(const std::string& origin, Accepted accepted) {
    const std::lock_guard lock(m_mutex);
    m_accepted.insert_or_assign(origin, std::move(accepted));
}

void CredentialStore::Forget(const std::string& origin, const Credentials& refused) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_accepted.find(origin);
    if (found != m_accepted.end() && found->second.credentials == refused) m_accepted.erase(found);
}

void CredentialStore::clear() {
    const std::lock_guard lock(m_mutex);
    m_accepted.clear();
}

unsigned long ChooseScheme(unsigned long offered) {
    for (const unsigned long scheme : {CURLAUTH_DIGEST, CURLAUTH_NTLM, CURLAUTH_NEGOTIATE, CURLAUTH_BASIC})
        if (offered & scheme) return scheme;
    return 0;
}

}  // namespace platform::internet
