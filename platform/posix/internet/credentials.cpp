#include "internet/credentials.h"

#include <curl/curl.h>

#include <atomic>

namespace platform::internet {

namespace {

std::atomic<unsigned> g_browser_session{0};

}  // namespace

void CredentialStore::ForgetEarlierSession() {
    const unsigned now = g_browser_session;
    if (m_browser_session != now) m_accepted.clear();
    m_browser_session = now;
}

std::optional<Accepted> CredentialStore::Find(const std::string& origin) {
    const std::lock_guard lock(m_mutex);
    ForgetEarlierSession();
    const auto found = m_accepted.find(origin);
    return found != m_accepted.end() ? std::optional(found->second) : std::nullopt;
}

void CredentialStore::Remember(const std::string& origin, Accepted accepted) {
    const std::lock_guard lock(m_mutex);
    ForgetEarlierSession();
    m_accepted.insert_or_assign(origin, std::move(accepted));
}

void CredentialStore::Forget(const std::string& origin, const Credentials& refused) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_accepted.find(origin);
    if (found != m_accepted.end() && found->second.credentials == refused) m_accepted.erase(found);
}

void CredentialStore::EndBrowserSession() {
    ++g_browser_session;
}

unsigned long ChooseScheme(unsigned long offered, bool with_kerberos) {
    if (with_kerberos && (offered & CURLAUTH_NEGOTIATE)) return CURLAUTH_NEGOTIATE;
    for (const unsigned long scheme : {CURLAUTH_DIGEST, CURLAUTH_NTLM, CURLAUTH_NEGOTIATE, CURLAUTH_BASIC})
        if (offered & scheme) return scheme;
    return 0;
}

}  // namespace platform::internet
