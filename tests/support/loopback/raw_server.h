// An HTTP server for tests that sends exactly the bytes a test gives it, on loopback and a port of the
// system's choice. The handler runs on a thread per connection; the server ends with its object.
#pragma once

#include <openssl/types.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace testing_support {

// One request that came in, and the way to answer it.
class Exchange {
public:
    std::string method;
    std::string target;
    std::string head;  // request line and headers as they came
    std::string body;
    int connection = 0;  // connections count from 1
    int number = 0;      // requests of all connections count from 1

    // The first value of a header, or "".
    std::string header(std::string_view name) const;
    int count_header(std::string_view name) const;
    // All headers in their order, the names in lower case.
    std::vector<std::pair<std::string, std::string>> headers() const;
    // False when the peer has gone.
    bool send(std::string_view bytes);
    // An answer with a body and its length.
    bool answer(std::string_view status, std::string_view headers = "", std::string_view body = "");
    // Reads more of the body, for handlers that run before it has come.
    std::string receive();
    void drop();   // ends the connection
    void reset();  // ends it with a reset
    void stall();  // sends nothing more until the server ends

private:
    friend class RawServer;
    class RawServer* m_server = nullptr;
    int m_socket = -1;
    ssl_st* m_tls = nullptr;
    bool m_open = true;
};

class RawServer {
public:
    using Handler = std::function<void(Exchange&)>;
    enum class Body { read, left };  // is the request's body read before the handler runs?

    explicit RawServer(Handler handler, Body body = Body::read);
    // With TLS, by a certificate for 127.0.0.1 made for this server alone.
    static RawServer* with_tls(Handler handler, std::string& out_certificate_pem);
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    unsigned short port() const { return m_port; }
    std::u16string url(std::u16string_view path) const;
    int connections() const { return m_connections; }
    int requests() const { return m_requests; }

private:
    friend class Exchange;
    void accept_loop();
    void serve(int socket, int connection);
    bool read_request(Exchange& exchange, std::string& pending);

    Handler m_handler;
    Body m_body;
    std::atomic<ssl_ctx_st*> m_tls{nullptr};
    int m_listener = -1;
    unsigned short m_port = 0;
    std::atomic<bool> m_stopping{false};
    std::atomic<int> m_connections{0};
    std::atomic<int> m_requests{0};
    std::mutex m_mutex;
    std::vector<int> m_sockets;
    std::vector<std::thread> m_threads;
    std::thread m_acceptor;
};

}  // namespace testing_support
