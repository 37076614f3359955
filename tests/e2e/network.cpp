#include "tests/e2e/network.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/support/loopback/loopback_socket.h"

namespace testing_support {

namespace fs = std::filesystem;

namespace {

constexpr char kSquid[] = "/usr/sbin/squid";
constexpr char kPasswordHelper[] = "/usr/lib/squid/basic_ncsa_auth";
constexpr char kTicketHelper[] = "/usr/lib/squid/negotiate_kerberos_auth";
const std::string kName = Proxy::kNameOfThisMachine;

// The program's output.
std::string RunTool(std::vector<std::string> arguments) {
    const std::string name = arguments[0];
    const ProcessResult result = RunToEnd({.arguments = std::move(arguments)});
    if (result.status != 0) throw std::runtime_error(name + ": " + result.err);
    return result.out;
}

// A port that was free a moment ago; this proxy can't choose one by itself.
std::uint16_t FreePort() {
    std::uint16_t port = 0;
    close(ListenOnLoopback(port));
    return port;
}

bool Answers(std::uint16_t port) {
    const int connection = ConnectToLoopback(port);
    if (connection >= 0) close(connection);
    return connection >= 0;
}

}  // namespace

PrivateAuthority::PrivateAuthority() {
    const auto file = [this](const char* name) { return (m_folder / name).string(); };
    const std::vector<std::string> key{"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes"};
    std::vector<std::string> authority{"openssl",  "req",     "-x509",        "-days", "2",           "-subj",
                                       "/CN=Test", "-keyout", file("ca.key"), "-out",  file("ca.pem")};
    authority.insert(authority.end(), key.begin(), key.end());
    std::vector<std::string> request{"openssl", "req",           "-subj", "/CN=127.0.0.1",
                                     "-keyout", file("key.pem"), "-out",  file("request")};
    request.insert(request.end(), key.begin(), key.end());
    RunTool(authority);
    RunTool(request);
    WriteText(m_folder / "names", "subjectAltName=IP:127.0.0.1,DNS:localhost,DNS:" + kName + "\n");
    RunTool({"openssl", "x509", "-req", "-days", "2", "-in", file("request"), "-CA", file("ca.pem"), "-CAkey",
             file("ca.key"), "-CAcreateserial", "-extfile", file("names"), "-out", file("cert.pem")});
}

std::vector<std::string> PrivateAuthority::ServerOptions() const {
    return {"--tls-cert", (m_folder / "cert.pem").string(), "--tls-key", (m_folder / "key.pem").string()};
}

bool Proxy::IsInstalled() {
    return fs::exists(kSquid) && fs::exists(kPasswordHelper);
}

Proxy::Proxy(const std::string& key_table) : m_key_table(key_table) {
    // Root starts it as another user, who needs access.
    fs::permissions(m_folder.Path(), fs::perms::all);
    std::string hash = RunTool({"openssl", "passwd", "-apr1", "p w"});
    WriteText(m_folder / "users", "prox:" + hash);
    WriteText(m_folder / "hosts", "127.0.0.1 " + kName + "\n");
    for (int tries = 0; tries < 5; ++tries)
        if (Start(FreePort())) return;
    throw std::runtime_error("no proxy: " + ReadText(m_folder / "err"));
}

bool Proxy::Start(std::uint16_t port) {
    const auto file = [this](const char* name) { return (m_folder / name).string(); };
    m_address = "127.0.0.1:" + std::to_string(port);
    WriteText(m_folder / "conf", "http_port " + m_address +
                                     "\n"
                                     "pid_filename none\n"
                                     "cache deny all\n"
                                     "memory_cache_shared off\n"
                                     "pinger_enable off\n"
                                     "cache_log /dev/null\n"
                                     "access_log stdio:" +
                                     file("access") +
                                     "\n"
                                     "hosts_file " +
                                     file("hosts") +
                                     "\n"
                                     "cache_effective_user proxy\n" +
                                     SignIn() +
                                     "acl known proxy_auth REQUIRED\n"
                                     "http_access allow known\n"
                                     "http_access deny all\n"
                                     "shutdown_lifetime 0 seconds\n");
    // A name of its own keeps its shared memory apart.
    const std::string name = "e2e" + std::to_string(getpid()) + "p" + std::to_string(port);
    m_process.emplace(
        ProcessOptions{{kSquid, "-N", "-n", name, "-f", file("conf")},
                       {{"KRB5RCACHENAME", "none:"}},  // the servers' own belongs to another user
                       {},
                       m_folder / "out",
                       m_folder / "err"});
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (m_process->IsRunning() && std::chrono::steady_clock::now() < end) {
        if (Answers(port)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    m_process.reset();
    return false;
}

std::string Proxy::SignIn() const {
    if (m_key_table.empty()) {
        return std::string("auth_param basic program ") + kPasswordHelper + " " +
               (m_folder / "users").string() +
               "\nauth_param basic children 1\nauth_param basic realm proxy\n";
    }
    return std::string("auth_param negotiate program ") + kTicketHelper + " -k " + m_key_table +
           " -s GSS_C_NO_NAME\nauth_param negotiate children 1\n";
}

Proxy::~Proxy() {
    if (!m_process) return;
    m_process->Signal(SIGTERM);
    m_process->Wait(20);
}

std::string Proxy::Named(std::string url) {
    const std::string address = "127.0.0.1";
    return url.replace(url.find(address), address.size(), kName);
}

std::string Proxy::AccessLog() const {
    return ReadText(m_folder / "access");
}

}  // namespace testing_support
