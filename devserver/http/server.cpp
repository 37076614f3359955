#include "http/server.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "http/connection.h"

namespace devserver::http {

Server::Server(ServerOptions options, Application& application)
    : m_options(std::move(options)),
      m_application(application),
      m_names(m_options.host, m_options.more_names) {
    m_scheme = m_options.certificate_file.empty() ? "http" : "https";
}

Server::~Server() {
    if (m_listener >= 0) ::close(m_listener);
    for (int end : m_wake)
        if (end >= 0) ::close(end);
    if (m_tls) SSL_CTX_free(m_tls);
}

void Server::LoadCertificate() {
    m_tls = SSL_CTX_new(TLS_server_method());
    if (!m_tls) throw std::runtime_error("TLS isn't available");
    SSL_CTX_set_min_proto_version(m_tls, TLS1_2_VERSION);
    if (SSL_CTX_use_certificate_chain_file(m_tls, m_options.certificate_file.c_str()) != 1)
        throw std::runtime_error("cannot read the certificate " + m_options.certificate_file);
    if (SSL_CTX_use_PrivateKey_file(m_tls, m_options.key_file.c_str(), SSL_FILETYPE_PEM) != 1 ||
        SSL_CTX_check_private_key(m_tls) != 1)
        throw std::runtime_error("cannot read the key " + m_options.key_file +
                                 ", or it doesn't belong to the certificate");
}

void Server::Start() {
    if (m_scheme == "https") LoadCertificate();
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    auto port = std::to_string(m_options.port);
    if (int error = ::getaddrinfo(m_options.host.c_str(), port.c_str(), &hints, &found))
        throw std::runtime_error("cannot resolve " + m_options.host + ": " + ::gai_strerror(error));
    m_listener = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int on = 1;
    ::setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    bool bound = m_listener >= 0 && ::bind(m_listener, found->ai_addr, found->ai_addrlen) == 0 &&
                 ::listen(m_listener, 128) == 0;
    int error = errno;
    ::freeaddrinfo(found);
    if (!bound)
        throw std::runtime_error("cannot listen on " + m_options.host + ":" + port + ": " +
                                 std::strerror(error));
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size);
    m_port = ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(address).sin6_port
                                                 : reinterpret_cast<sockaddr_in&>(address).sin_port);
    if (::pipe2(m_wake, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
}

std::string Server::url() const {
    auto host = m_options.host.find(':') == std::string::npos ? m_options.host : "[" + m_options.host + "]";
    return m_scheme + "://" + host + ":" + std::to_string(m_port);
}

void Server::Run() {
    while (!m_stopping) {
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [this] { return m_stopping || m_connections < m_options.max_connections; });
        }
        pollfd entries[] = {{m_listener, POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        if (::poll(entries, 2, -1) < 0 && errno != EINTR) break;
        if (m_stopping || !(entries[0].revents & POLLIN)) continue;
        int socket = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            if (errno == EMFILE || errno == ENFILE)
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            continue;
        }
        {
            std::lock_guard lock(m_mutex);
            ++m_connections;
        }
        std::thread([this, socket] { Serve(socket); }).detach();
    }
    std::unique_lock lock(m_mutex);
    for (auto* transport : m_transports) transport->Interrupt();
    m_changed.wait(lock, [this] { return m_connections == 0; });
}

void Server::Serve(int socket) {
    {
        Transport transport(socket, m_tls, m_stopping);
        {
            std::lock_guard lock(m_mutex);
            m_transports.insert(&transport);
        }
        if (!m_stopping) ServeConnection(transport, m_application, {m_scheme, m_names});
        std::lock_guard lock(m_mutex);
        m_transports.erase(&transport);
    }
    std::lock_guard lock(m_mutex);
    --m_connections;
    m_changed.notify_all();
}

void Server::Stop() {
    m_stopping = true;
    {
        std::lock_guard lock(m_mutex);
        m_changed.notify_all();
    }
    char byte = 0;
    if (m_wake[1] >= 0) (void)!::write(m_wake[1], &byte, 1);
}

}  // namespace devserver::http
