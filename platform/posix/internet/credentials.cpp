#include "internet/credentials.h"

#include <curl/curl.h>

namespace platform::internet {

CredentialStore& CredentialStore::instance() {
    static CredentialStore* const store = new CredentialStore;
    return *store;
}

std::optional<Accepted> CredentialStore::find(const std::string& origin) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_accepted.find(origin);
    return found != m_accepted.end() ? std::optional(found->second) : std::nullopt;
}

void CredentialStore::remember(const std::string& origin, Accepted accepted) {
    const std::lock_guard lock(m_mutex);
    m_accepted.insert_or_assign(origin, std::move(accepted));
}

void CredentialStore::forget(const std::string& origin, const Credentials& refused) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_accepted.find(origin);
    if (found != m_accepted.end() && found->second.credentials == refused) m_accepted.erase(found);
}

void CredentialStore::clear() {
    const std::lock_guard lock(m_mutex);
    m_accepted.clear();
}

unsigned long choose_scheme(unsigned long offered) {
    for (const unsigned long scheme : {CURLAUTH_DIGEST, CURLAUTH_NTLM, CURLAUTH_NEGOTIATE, CURLAUTH_BASIC})
        if (offered & scheme) return scheme;
    return 0;
}

}  // namespace platform::internet
