#include "tests/e2e/realm.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "tests/support/loopback/loopback_socket.h"

namespace testing_support {

namespace {

const std::string kRealm = Realm::kName;

std::string RunTool(std::vector<std::string> arguments, const std::string& input = {}) {
    const std::string name = arguments[0];
    const ProcessResult result = RunToEnd({.arguments = std::move(arguments), .input = input});
    if (result.status != 0) throw std::runtime_error(name + ": " + result.err);
    return result.out;
}

}  // namespace

Realm::Realm(const std::string& service) : m_service(service) {
    m_environment = {{"KRB5_CONFIG", (m_folder / "krb5.conf").string()},
                     {"KRB5_KDC_PROFILE", (m_folder / "kdc.conf").string()},
                     {"KRB5CCNAME", "FILE:" + (m_folder / "tickets").string()},
                     {"KRB5RCACHENAME", "file2:" + (m_folder / "replays").string()}};
    for (const auto& [name, value] : m_environment) setenv(name.c_str(), value.c_str(), 1);
    WriteConfiguration(1);
    RunTool({"/usr/sbin/kdb5_util", "create", "-s", "-r", kRealm, "-P", "master"});
    for (const std::string user : {"alice", "bob"}) Administer("addprinc -pw " + user + " " + user);
    Administer("addprinc -randkey " + service);
    Administer("ktadd -k " + KeyTable() + " " + service);
    for (int tries = 0; tries < 5; ++tries) {
        std::uint16_t port = 0;
        close(ListenOnLoopback(port));  // the KDC can't choose a port by itself
        if (Start(port)) return;
    }
    throw std::runtime_error("no KDC: " + ReadText(m_folder / "err"));
}

Realm::~Realm() {
    for (const auto& [name, value] : m_environment) unsetenv(name.c_str());
}

std::string Realm::Named(std::string url) {
    return url.replace(url.find("127.0.0.1"), 9, "localhost");
}

void Realm::WriteConfiguration(std::uint16_t port) const {
    const std::string address = "127.0.0.1:" + std::to_string(port);
    WriteText(m_folder / "krb5.conf",
              "[libdefaults]\ndefault_realm = " + kRealm +
                  "\ndns_lookup_kdc = false\ndns_canonicalize_hostname = false\n"
                  "rdns = false\nclockskew = 1\nudp_preference_limit = 1\n[realms]\n" +
                  kRealm + " = {\nkdc = " + address + "\n}\n[domain_realm]\nlocalhost = " + kRealm + "\n");
    WriteText(m_folder / "kdc.conf", "[kdcdefaults]\nkdc_listen = " + address +
                                         "\nkdc_tcp_listen = " + address + "\n[realms]\n" + kRealm +
                                         " = {\ndatabase_name = " + (m_folder / "principal").string() +
                                         "\nkey_stash_file = " + (m_folder / "stash").string() +
                                         "\n}\n[logging]\nkdc = FILE:" + (m_folder / "log").string() + "\n");
}

void Realm::Administer(const std::string& command) const {
    RunTool({"/usr/sbin/kadmin.local", "-r", kRealm, "-q", command});
}

bool Realm::Start(std::uint16_t port) {
    WriteConfiguration(port);
    m_kdc.emplace(ProcessOptions{.arguments = {"/usr/sbin/krb5kdc", "-n", "-r", kRealm},
                                 .out = m_folder / "out",
                                 .err = m_folder / "err"});
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (m_kdc->IsRunning() && std::chrono::steady_clock::now() < end) {
        if (const int connection = ConnectToLoopback(port); connection >= 0) {
            close(connection);
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    m_kdc.reset();
    return false;
}

void Realm::LogIn(const std::string& user, const std::string& lifetime) const {
    RunTool({"kinit", "-l", lifetime, user}, user + "\n");
}

void Realm::LetOthersRead() const {
    namespace fs = std::filesystem;
    fs::permissions(m_folder.Path(), fs::perms::all);
    for (const char* name : {"krb5.conf", "keytab"})
        fs::permissions(m_folder / name, fs::perms::others_read, fs::perm_options::add);
}

std::string Realm::Tickets() const {
    return RunTool({"klist"});
}

}  // namespace testing_support
