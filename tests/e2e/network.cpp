// A private certificate authority and a proxy, by other makers' programs.
#include "network.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace e2e {

namespace fs = std::filesystem;

namespace {

constexpr char kSquid[] = "/usr/sbin/squid";
constexpr char kPasswordHelper[] = "/usr/lib/squid/basic_ncsa_auth";
const std::string kName = "portal.test";

// The program's output.
std::string RunTool(const fs::path& folder, std::vector<std::string> arguments) {
    const ProcessOptions options{std::move(arguments), {}, {}, folder / "tool.out", folder / "tool.err"};
    Process process(options);
    if (process.Wait(30) != 0) throw std::runtime_error(options.arguments[0] + ": " + ReadFile(options.err));
    return ReadFile(options.out);
}

sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

// A port that was free a moment ago; this proxy can't choose one by itself.
int FreePort() {
    const int socket_id = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    const bool good = bind(socket_id, name, size) == 0 && getsockname(socket_id, name, &size) == 0;
    close(socket_id);
    if (!good) throw std::runtime_error("no free port");
    return ntohs(address.sin_port);
}

bool Answers(int port) {
    const int socket_id = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = Loopback(port);
    const bool good = connect(socket_id, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(socket_id);
    return good;
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
    RunTool(m_folder.Path(), authority);
    RunTool(m_folder.Path(), request);
    WriteFile(m_folder / "names", "subjectAltName=IP:127.0.0.1,DNS:localhost,DNS:" + kName + "\n");
    RunTool(m_folder.Path(),
            {"openssl", "x509", "-req", "-days", "2", "-in", file("request"), "-CA", file("ca.pem"), "-CAkey",
             file("ca.key"), "-CAcreateserial", "-extfile", file("names"), "-out", file("cert.pem")});
}

std::vector<std::string> PrivateAuthority::ServerOptions() const {
    return {"--tls-cert", (m_folder / "cert.pem").string(), "--tls-key", (m_folder / "key.pem").string()};
}

bool Proxy::IsInstalled() {
    return fs::exists(kSquid) && fs::exists(kPasswordHelper);
}

Proxy::Proxy() {
    // It works as a user of its own when root starts it.
    fs::permissions(m_folder.Path(), fs::perms::all);
    std::string hash = RunTool(m_folder.Path(), {"openssl", "passwd", "-apr1", "p w"});
    WriteFile(m_folder / "users", "prox:" + hash);
    WriteFile(m_folder / "hosts", "127.0.0.1 " + kName + "\n");
    for (int tries = 0; tries < 5; ++tries)
        if (Start(FreePort())) return;
    throw std::runtime_error("no proxy: " + ReadFile(m_folder / "err"));
}

bool Proxy::Start(int port) {
    const auto file = [this](const char* name) { return (m_folder / name).string(); };
    m_address = "127.0.0.1:" + std::to_string(port);
    WriteFile(m_folder / "conf", "http_port " + m_address +
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
                                     "cache_effective_user proxy\n"
                                     "auth_param basic program " +
                                     kPasswordHelper + " " + file("users") +
                                     "\n"
                                     "auth_param basic children 1\n"
                                     "auth_param basic realm proxy\n"
                                     "acl known proxy_auth REQUIRED\n"
                                     "http_access allow known\n"
                                     "http_access deny all\n"
                                     "shutdown_lifetime 0 seconds\n");
    // A name of its own keeps its shared memory apart.
    const std::string name = "e2e" + std::to_string(getpid()) + "p" + std::to_string(port);
    m_process.emplace(ProcessOptions{
        {kSquid, "-N", "-n", name, "-f", file("conf")}, {}, {}, m_folder / "out", m_folder / "err"});
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (m_process->IsRunning() && std::chrono::steady_clock::now() < end) {
        if (Answers(port)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    m_process.reset();
    return false;
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
    return ReadFile(m_folder / "access");
}

}  // namespace e2e
