// User names and passwords that servers and proxies have accepted, kept by the session that sent them.
// Any thread.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace platform::internet {

struct Credentials {
    std::string user;
    std::string password;

    friend bool operator==(const Credentials&, const Credentials&) = default;
};

// The credentials, or none for the person's own ticket, with the one scheme (a CURLAUTH_ bit) that the server
// took them by.
struct Accepted {
    Credentials credentials;
    unsigned long scheme = 0;
};

class CredentialStore {
public:
    std::optional<Accepted> Find(const std::string& origin);
    void Remember(const std::string& origin, Accepted accepted);
    // Does nothing when other credentials have taken the place of these.
    void Forget(const std::string& origin, const Credentials& refused);
    // All stores of the process forget what they have.
    static void EndBrowserSession();

private:
    void ForgetEarlierSession();

    std::mutex m_mutex;
    std::map<std::string, Accepted> m_accepted;
    unsigned m_browser_session = 0;
};

// The scheme to answer a challenge with, of the CURLAUTH_ bits offered; 0 if none can be used. Basic comes
// only when nothing stronger is offered, and Negotiate just before it, since it depends on the mechanisms
// that this machine has.
// With Kerberos for them, Negotiate comes first.
unsigned long ChooseScheme(unsigned long offered, bool with_kerberos);

}  // namespace platform::internet
