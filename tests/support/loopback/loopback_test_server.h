// A small HTTP server for tests in which one handler answers and every request is kept to be looked at.
// The handler runs on the server's threads, one at a time; the server ends with its object.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/loopback/raw_server.h"

namespace testing_support {

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
    // Gives the bytes of the whole answer; "Connection: close" among them ends the connection.
    using Handler = std::function<std::string(const Request&)>;

    explicit LoopbackTestServer(Handler handler)
        : m_handler(std::move(handler)), m_server([this](Exchange& exchange) { Serve(exchange); }) {}

    uint16_t Port() const { return m_server.port(); }
    std::u16string Url(std::u16string_view host = u"127.0.0.1") const {
        const std::string digits = std::to_string(Port());
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
    void Serve(Exchange& exchange) {
        std::string answer;
        {
            const std::lock_guard guard(m_lock);
            m_requests.push_back({exchange.method, exchange.target, exchange.headers(), exchange.body});
            answer = m_handler(m_requests.back());
        }
        exchange.send(answer);
        if (answer.find("Connection: close") != std::string::npos) exchange.drop();
    }

    Handler m_handler;
    mutable std::mutex m_lock;
    std::vector<Request> m_requests;
    RawServer m_server;  // ends first
};

}  // namespace testing_support

// Known without their namespace, like the names of the plug-in.
using testing_support::Answer;
using testing_support::LoopbackTestServer;
