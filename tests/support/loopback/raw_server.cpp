#include "tests/support/loopback/raw_server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "tests/support/loopback/loopback_socket.h"

namespace testing_support {

namespace {

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c;
}

std::string lower(std::string_view text) {
    std::string result(text);
    for (char& c : result) c = lower(c);
    return result;
}

// A key and a self-signed certificate.
ssl_ctx_st* make_tls(std::string& out_pem) {
    ssl_ctx_st* context = SSL_CTX_new(TLS_server_method());
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* certificate = X509_new();
    X509_set_version(certificate, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 86400);
    X509_set_pubkey(certificate, key);
    X509_NAME* name = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("test"), -1,
                               -1, 0);
    X509_set_issuer_name(certificate, name);
    for (const auto& [id, value] :
         {std::pair{NID_subject_alt_name, "IP:127.0.0.1"}, {NID_basic_constraints, "CA:TRUE"}}) {
        X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, id, value);
        X509_add_ext(certificate, extension, -1);
        X509_EXTENSION_free(extension);
    }
    X509_sign(certificate, key, EVP_sha256());
    SSL_CTX_use_certificate(context, certificate);
    SSL_CTX_use_PrivateKey(context, key);
    BIO* memory = BIO_new(BIO_s_mem());
    PEM_write_bio_X509(memory, certificate);
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory, &text);
    out_pem.assign(text, static_cast<std::size_t>(size));
    BIO_free(memory);
    X509_free(certificate);
    EVP_PKEY_free(key);
    return context;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> Exchange::headers() const {
    std::vector<std::pair<std::string, std::string>> all;
    for (std::size_t at = head.find("\r\n"); at != std::string::npos && at + 2 < head.size();) {
        const std::size_t end = head.find("\r\n", at + 2);
        const std::string line = head.substr(at + 2, end - at - 2);
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos) {
            const std::size_t value = line.find_first_not_of(' ', colon + 1);
            all.emplace_back(lower(line.substr(0, colon)),
                             value == std::string::npos ? "" : line.substr(value));
        }
        at = end;
    }
    return all;
}

std::string Exchange::header(std::string_view name) const {
    const std::string wanted = lower(name);
    for (const auto& [key, value] : headers())
        if (key == wanted) return value;
    return {};
}

int Exchange::count_header(std::string_view name) const {
    const auto all = headers();
    return static_cast<int>(std::count_if(all.begin(), all.end(), [wanted = lower(name)](const auto& header) {
        return header.first == wanted;
    }));
}

bool Exchange::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = m_tls ? SSL_write(m_tls, bytes.data(), static_cast<int>(bytes.size()))
                                   : ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return m_open = false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool Exchange::answer(std::string_view status, std::string_view extra, std::string_view text) {
    std::string bytes = "HTTP/1.1 ";
    bytes.append(status).append("\r\nContent-Length: ").append(std::to_string(text.size())).append("\r\n");
    bytes.append(extra).append("\r\n");
    if (method != "HEAD") bytes.append(text);
    return send(bytes);
}

std::string Exchange::receive() {
    char buffer[65536];
    const ssize_t got =
        m_tls ? SSL_read(m_tls, buffer, sizeof buffer) : recv(m_socket, buffer, sizeof buffer, 0);
    if (got <= 0) m_open = false;
    return {buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
}

void Exchange::drop() {
    m_open = false;
}

void Exchange::reset() {
    const linger with_reset{1, 0};
    setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &with_reset, sizeof with_reset);
    m_open = false;
}

void Exchange::stall() {
    // The server's end shuts the socket down, which ends the wait.
    while (!m_server->m_stopping) {
        pollfd wait{m_socket, 0, 0};
        poll(&wait, 1, 20);
        if (wait.revents & (POLLHUP | POLLERR)) break;
    }
    m_open = false;
}

RawServer::RawServer(Handler handler, Body body) : m_handler(std::move(handler)), m_body(body) {
    m_listener = ListenOnLoopback(m_port);
    m_acceptor = std::thread([this] { accept_loop(); });
}

RawServer* RawServer::with_tls(Handler handler, std::string& out_certificate_pem) {
    RawServer* server = new RawServer(std::move(handler));
    server->m_tls = make_tls(out_certificate_pem);
    return server;
}

RawServer::~RawServer() {
    m_stopping = true;
    shutdown(m_listener, SHUT_RDWR);
    m_acceptor.join();
    {
        const std::lock_guard lock(m_mutex);
        for (const int socket : m_sockets) shutdown(socket, SHUT_RDWR);
    }
    for (std::thread& thread : m_threads) thread.join();
    for (const int socket : m_sockets) close(socket);
    close(m_listener);
    SSL_CTX_free(m_tls);
}

std::u16string RawServer::url(std::u16string_view path) const {
    const std::string port = std::to_string(m_port);
    return u"http://127.0.0.1:" + std::u16string(port.begin(), port.end()) + std::u16string(path);
}

void RawServer::accept_loop() {
    for (;;) {
        const int socket = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) return;
        const int on = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        const std::lock_guard lock(m_mutex);
        m_sockets.push_back(socket);
        const int connection = ++m_connections;
        m_threads.emplace_back([this, socket, connection] { serve(socket, connection); });
    }
}

void RawServer::serve(int socket, int connection) {
    std::string pending;
    Exchange exchange;
    exchange.m_server = this;
    exchange.m_socket = socket;
    if (m_tls) {
        // A write after the peer has closed must not end the test.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        exchange.m_tls = SSL_new(m_tls);
        SSL_set_fd(exchange.m_tls, socket);
        exchange.m_open = SSL_accept(exchange.m_tls) == 1;
    }
    while (exchange.m_open && !m_stopping && read_request(exchange, pending)) {
        exchange.connection = connection;
        exchange.number = ++m_requests;
        m_handler(exchange);
    }
    SSL_free(exchange.m_tls);
    // After reset() closing sends a reset, so that socket is closed here; the others are closed with the
    // server.
    linger lingering{};
    socklen_t size = sizeof lingering;
    getsockopt(socket, SOL_SOCKET, SO_LINGER, &lingering, &size);
    const std::lock_guard lock(m_mutex);
    if (lingering.l_onoff) {
        std::erase(m_sockets, socket);
        close(socket);
    } else {
        shutdown(socket, SHUT_RDWR);
    }
}

bool RawServer::read_request(Exchange& exchange, std::string& pending) {
    std::size_t end;
    while ((end = pending.find("\r\n\r\n")) == std::string::npos) {
        const std::string more = exchange.receive();
        if (more.empty()) return false;
        pending += more;
    }
    exchange.head = pending.substr(0, end + 2);
    pending.erase(0, end + 4);
    const std::size_t blank = exchange.head.find(' ');
    exchange.method = exchange.head.substr(0, blank);
    exchange.target = exchange.head.substr(blank + 1, exchange.head.find(' ', blank + 1) - blank - 1);
    exchange.body.clear();
    if (m_body == Body::left) {
        exchange.body.swap(pending);
        return true;
    }
    const std::string length = exchange.header("Content-Length");
    const bool chunked = lower(exchange.header("Transfer-Encoding")) == "chunked";
    const std::size_t size = length.empty() ? 0 : std::stoull(length);
    while (chunked ? pending.find("0\r\n\r\n") == std::string::npos : pending.size() < size) {
        const std::string more = exchange.receive();
        if (more.empty()) return false;
        pending += more;
    }
    const std::size_t used = chunked ? pending.find("0\r\n\r\n") + 5 : size;
    exchange.body = pending.substr(0, used);
    pending.erase(0, used);
    return true;
}

}  // namespace testing_support
