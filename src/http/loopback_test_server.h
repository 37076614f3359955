// A small HTTP server on loopback for tests: one handler answers, every request is kept to be looked at.
// Runs its own threads; ends and joins them in the destructor.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

// "HTTP/1.1 <status>" with further header lines (each ended by CR LF), the length, and the body.
inline std::string Answer(std::string_view status, std::string_view body = {},
                          std::string_view headers = {}) {
    return "HTTP/1.1 " + std::string(status) + "\r\n" + std::string(headers) +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

class LoopbackTestServer {
public:
    struct Request {
        std::string method;
        std::string target;
        std::vector<std::pair<std::string, std::string>> headers;  // names in lower case
        std::string body;

        std::string Line() const { return method + " " + target; }
        // Values of a header joined by "|"; the name in lower case.
        std::string Header(std::string_view name) const {
            std::string values;
            for (const auto& [key, value] : headers) {
                if (key == name) values += values.empty() ? value : "|" + value;
            }
            return values;
        }
        bool Has(std::string_view name) const {
            for (const auto& header : headers) {
                if (header.first == name) return true;
            }
            return false;
        }
    };
    // Gives the bytes of the whole answer. Runs under the server's lock.
    using Handler = std::function<std::string(const Request&)>;

    explicit LoopbackTestServer(Handler handler) : m_handler(std::move(handler)) {
        m_listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
            listen(m_listener, 16) != 0 ||
            getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
            abort();
        }
        m_port = ntohs(address.sin_port);
        m_acceptor = std::thread([this] { Accept(); });
    }

    ~LoopbackTestServer() {
        {
            const std::lock_guard guard(m_lock);
            m_stopping = true;
            shutdown(m_listener, SHUT_RDWR);
            for (const int connection : m_connections) shutdown(connection, SHUT_RDWR);
        }
        m_acceptor.join();
        for (std::thread& worker : m_workers) worker.join();
        close(m_listener);
    }

    LoopbackTestServer(const LoopbackTestServer&) = delete;
    LoopbackTestServer& operator=(const LoopbackTestServer&) = delete;

    uint16_t Port() const { return m_port; }
    std::u16string Url(std::u16string_view host = u"127.0.0.1") const {
        const std::string digits = std::to_string(m_port);
        return u"http://" + std::u16string(host) + u":" + std::u16string(digits.begin(), digits.end());
    }
    std::vector<Request> Requests() const {
        const std::lock_guard guard(m_lock);
        return m_requests;
    }
    // "GET /a" of each request.
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        for (const Request& request : Requests()) lines.push_back(request.Line());
        return lines;
    }
    void Forget() {
        const std::lock_guard guard(m_lock);
        m_requests.clear();
    }

private:
    void Accept() {
        for (;;) {
            const int connection = accept(m_listener, nullptr, nullptr);
            const std::lock_guard guard(m_lock);
            if (connection < 0 || m_stopping) {
                if (connection >= 0) close(connection);
                return;
            }
            m_connections.push_back(connection);
            m_workers.emplace_back([this, connection] { Serve(connection); });
        }
    }

    void Serve(int connection) {
        std::string buffer;
        Request request;
        while (Read(connection, buffer, request)) {
            std::string answer;
            {
                const std::lock_guard guard(m_lock);
                m_requests.push_back(request);
                answer = m_handler(request);
            }
            if (!Send(connection, answer) || answer.find("Connection: close") != std::string::npos) break;
        }
        const std::lock_guard guard(m_lock);
        m_connections.remove(connection);
        close(connection);
    }

    static bool Receive(int connection, std::string& buffer) {
        char block[4096];
        const ssize_t size = recv(connection, block, sizeof(block), 0);
        if (size > 0) buffer.append(block, static_cast<size_t>(size));
        return size > 0;
    }

    static bool Send(int connection, std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t size = send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (size <= 0) return false;
            bytes.remove_prefix(static_cast<size_t>(size));
        }
        return true;
    }

    static bool Read(int connection, std::string& buffer, Request& request) {
        size_t end = 0;
        while ((end = buffer.find("\r\n\r\n")) == std::string::npos) {
            if (!Receive(connection, buffer)) return false;
        }
        request = ParseHead(std::string_view(buffer).substr(0, end + 2));
        const std::string length = request.Header("content-length");
        const size_t body_size = length.empty() ? 0 : std::stoul(length);
        while (buffer.size() < end + 4 + body_size) {
            if (!Receive(connection, buffer)) return false;
        }
        request.body = buffer.substr(end + 4, body_size);
        buffer.erase(0, end + 4 + body_size);
        return true;
    }

    static Request ParseHead(std::string_view head) {
        Request request;
        const std::string_view line = head.substr(0, head.find("\r\n"));
        request.method = line.substr(0, line.find(' '));
        request.target = line.substr(line.find(' ') + 1, line.rfind(' ') - line.find(' ') - 1);
        for (head.remove_prefix(line.size() + 2); !head.empty();) {
            const std::string_view header = head.substr(0, head.find("\r\n"));
            head.remove_prefix(header.size() + 2);
            const size_t colon = header.find(':');
            std::string name(header.substr(0, colon));
            for (char& c : name) c = static_cast<char>(tolower(c));
            std::string_view value = header.substr(colon + 1);
            while (value.starts_with(' ')) value.remove_prefix(1);
            request.headers.emplace_back(name, value);
        }
        return request;
    }

    Handler m_handler;
    int m_listener = -1;
    uint16_t m_port = 0;
    mutable std::mutex m_lock;
    bool m_stopping = false;
    std::list<int> m_connections;
    std::vector<std::thread> m_workers;
    std::vector<Request> m_requests;
    std::thread m_acceptor;
};
