#include "http/transport.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "http/message.h"

namespace devserver::http {
namespace {
constexpr int kWriteTimeoutMilliseconds = 600'000;
constexpr std::size_t kFileBlock = 512 * 1024;
constexpr std::uint64_t kMaxLingerBytes = 256ull << 20;
}  // namespace

Transport::Transport(int socket, SSL_CTX* tls, const std::atomic<bool>& stopping)
    : m_socket(socket), m_stopping(stopping) {
    ::fcntl(m_socket, F_SETFL, ::fcntl(m_socket, F_GETFL) | O_NONBLOCK);
    int on = 1;
    ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (tls) {
        m_ssl = SSL_new(tls);
        SSL_set_fd(m_ssl, m_socket);
        SSL_set_accept_state(m_ssl);
        SSL_set_mode(m_ssl, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    }
}

Transport::~Transport() {
    if (m_ssl) SSL_free(m_ssl);
    ::close(m_socket);
}

bool Transport::Wait(short events, int timeout_milliseconds) {
    if (m_stopping) throw ConnectionLost("the server is stopping");
    pollfd entry{m_socket, events, 0};
    int result = ::poll(&entry, 1, timeout_milliseconds);
    if (m_stopping) throw ConnectionLost("the server is stopping");
    return result > 0;
}

void Transport::Handshake() {
    if (!m_ssl) return;
    while (true) {
        ERR_clear_error();
        int result = SSL_do_handshake(m_ssl);
        if (result == 1) return;
        int error = SSL_get_error(m_ssl, result);
        short events = 0;
        if (error == SSL_ERROR_WANT_READ) events = POLLIN;
        if (error == SSL_ERROR_WANT_WRITE) events = POLLOUT;
        if (!events || !Wait(events, 30'000)) throw ConnectionLost("TLS handshake failed");
    }
}

std::size_t Transport::Read(char* buffer, std::size_t size, int timeout_seconds) {
    while (true) {
        short events = POLLIN;
        if (m_ssl) {
            ERR_clear_error();
            std::size_t count = 0;
            int result = SSL_read_ex(m_ssl, buffer, size, &count);
            if (result == 1) return count;
            int error = SSL_get_error(m_ssl, result);
            if (error == SSL_ERROR_ZERO_RETURN) return 0;
            if (error == SSL_ERROR_WANT_WRITE) {
                events = POLLOUT;
            } else if (error != SSL_ERROR_WANT_READ) {
                throw ConnectionLost("TLS read failed");
            }
        } else {
            auto count = ::recv(m_socket, buffer, size, 0);
            if (count >= 0) return static_cast<std::size_t>(count);
            if (errno == EINTR) continue;
            if (errno != EAGAIN) throw ConnectionLost("the peer broke the connection");
        }
        if (!Wait(events, timeout_seconds * 1000)) throw ConnectionLost("the peer fell silent");
    }
}

void Transport::Write(std::string_view bytes) {
    while (!bytes.empty()) {
        short events = POLLOUT;
        if (m_ssl) {
            ERR_clear_error();
            std::size_t count = 0;
            int result = SSL_write_ex(m_ssl, bytes.data(), bytes.size(), &count);
            if (result == 1) {
                bytes.remove_prefix(count);
                continue;
            }
            int error = SSL_get_error(m_ssl, result);
            if (error == SSL_ERROR_WANT_READ) {
                events = POLLIN;
            } else if (error != SSL_ERROR_WANT_WRITE) {
                throw ConnectionLost("TLS write failed");
            }
        } else {
            auto count = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count >= 0) {
                bytes.remove_prefix(static_cast<std::size_t>(count));
                continue;
            }
            if (errno == EINTR) continue;
            if (errno != EAGAIN) throw ConnectionLost("the peer broke the connection");
        }
        if (!Wait(events, kWriteTimeoutMilliseconds)) throw ConnectionLost("the peer doesn't read");
    }
}

void Transport::SendFile(int descriptor, std::uint64_t offset, std::uint64_t length) {
    auto position = static_cast<off_t>(offset);
    std::vector<char> block;
    while (length > 0) {
        auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, kFileBlock));
        if (m_ssl) {
            block.resize(kFileBlock);
            auto count = ::pread(descriptor, block.data(), wanted, position);
            if (count <= 0) throw ConnectionLost("a stored document is shorter than its record");
            Write({block.data(), static_cast<std::size_t>(count)});
            position += count;
            length -= static_cast<std::uint64_t>(count);
            continue;
        }
        auto count = ::sendfile(m_socket, descriptor, &position, wanted);
        if (count > 0) {
            length -= static_cast<std::uint64_t>(count);
        } else if (count == 0) {
            throw ConnectionLost("a stored document is shorter than its record");
        } else if (errno == EAGAIN) {
            if (!Wait(POLLOUT, kWriteTimeoutMilliseconds)) throw ConnectionLost("the peer doesn't read");
        } else if (errno != EINTR) {
            throw ConnectionLost("the peer broke the connection");
        }
    }
}

void Transport::Stall() {
    while (!m_stopping) {
        pollfd entry{m_socket, POLLRDHUP, 0};
        int result = ::poll(&entry, 1, 200);
        if (result > 0 || (result < 0 && errno != EINTR)) break;
    }
    throw ConnectionLost("stalled by a fault until the peer gave up");
}

void Transport::reset() {
    struct linger value {
        1, 0
    };
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &value, sizeof value);
    throw ConnectionLost("dropped by a fault");
}

void Transport::Linger() {
    if (m_ssl) SSL_shutdown(m_ssl);
    ::shutdown(m_socket, SHUT_WR);
    std::vector<char> block(64 * 1024);
    std::uint64_t total = 0;
    while (total < kMaxLingerBytes && Wait(POLLIN, 5'000)) {
        auto count = ::recv(m_socket, block.data(), block.size(), 0);
        if (count <= 0 && errno != EINTR && errno != EAGAIN) return;
        if (count == 0) return;
        if (count > 0) total += static_cast<std::uint64_t>(count);
    }
}

void Transport::Interrupt() {
    ::shutdown(m_socket, SHUT_RDWR);
}

}  // namespace devserver::http
