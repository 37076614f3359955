// What stands between sphost and a server: a private certificate authority, and a proxy that asks for a
// password. Both live in a temporary folder and end with their object. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/temp_folder.h"

namespace testing_support {

// An authority with one certificate, for 127.0.0.1, localhost and Proxy's name. Throws when openssl isn't
// there.
class PrivateAuthority {
public:
    PrivateAuthority();
    // Options for a DevServer.
    std::vector<std::string> ServerOptions() const;
    std::string File() const { return (m_folder / "ca.pem").string(); }

private:
    TempFolder m_folder;
};

// Squid, with one user; or, with a table of keys, for the tickets of a realm.
class Proxy {
public:
    static bool IsInstalled();

    explicit Proxy(const std::string& key_table = {});
    ~Proxy();

    // With the password, or with whatever stands for "name:password", or with neither.
    std::string Url() const { return Url("prox:p%20w@"); }
    std::string Url(const std::string& login) const { return "http://" + login + m_address; }
    std::string AccessLog() const;
    // The URL of this machine under a name that only the proxy knows.
    static constexpr char kNameOfThisMachine[] = "portal.test";
    static std::string Named(std::string url);

private:
    bool Start(std::uint16_t port);
    std::string SignIn() const;

    TempFolder m_folder;
    std::string m_key_table;
    std::string m_address;
    std::optional<Process> m_process;
};

}  // namespace testing_support
