// One accepted socket, plain or TLS, with blocking reads and writes that end when the server does.
// Owner: http/server; used by the connection's own thread, except for interrupt().
#pragma once
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

typedef struct ssl_ctx_st SSL_CTX;
typedef struct ssl_st SSL;

namespace devserver::http {

class Transport {
public:
    Transport(int socket, SSL_CTX* tls, const std::atomic<bool>& stopping);
    ~Transport();
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;

    // Runs the TLS handshake where there is one; throws ConnectionLost.
    void Handshake();
    // Returns 0 when the client has closed; throws ConnectionLost on an error or after `timeout_seconds` of
    // silence.
    std::size_t Read(char* buffer, std::size_t size, int timeout_seconds);
    void Write(std::string_view bytes);
    void SendFile(int descriptor, std::uint64_t offset, std::uint64_t length);
    // Sends nothing and reads nothing until the client or the server ends the connection.
    void Stall();
    // Ends the connection with a reset, so that the peer sees a broken connection.
    void reset();
    // Closes the sending side and reads what still comes, up to a limit.
    void Linger();
    // From another thread: makes blocked calls return.
    void Interrupt();

private:
    bool Wait(short events, int timeout_milliseconds);

    int m_socket;
    SSL* m_ssl = nullptr;
    const std::atomic<bool>& m_stopping;
};

}  // namespace devserver::http
