// A Kerberos realm on loopback: a KDC with the users alice and bob (their passwords are their names) and the
// service HTTP/localhost. It reads and writes nothing outside its temporary folder. One thread.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "tests/support/process.h"
#include "tests/support/temp_folder.h"

namespace testing_support {

class Realm {
public:
    // Throws when the KDC isn't there. `service` is the principal whose keys the table has.
    explicit Realm(const std::string& service = "HTTP/localhost");
    ~Realm();

    static constexpr char kName[] = "SAMPLE.TEST";
    // The URL of this machine by the name that is in the realm.
    static std::string Named(std::string url);
    // What a client's environment has to say. This process and its children have it, too.
    const std::map<std::string, std::string>& Environment() const { return m_environment; }
    std::string KeyTable() const { return (m_folder / "keytab").string(); }
    // Gets the user's ticket, as at log-in; nobody's before.
    void LogIn(const std::string& user, const std::string& lifetime = "1h") const;
    // The names of the services that the user's tickets are for.
    std::string Tickets() const;
    std::string KdcLog() const { return ReadText(m_folder / "log"); }
    void StopKdc() { m_kdc.reset(); }
    // The key that the table has is no longer the one that tickets are for.
    void GiveTheServiceAnotherKey() const { Administer("cpw -randkey " + m_service); }
    // Another user of this machine may read configuration and keys.
    void LetOthersRead() const;

private:
    void WriteConfiguration(std::uint16_t port) const;
    void Administer(const std::string& command) const;
    bool Start(std::uint16_t port);

    TempFolder m_folder;
    std::string m_service;
    std::map<std::string, std::string> m_environment;
    std::optional<Process> m_kdc;
};

}  // namespace testing_support
