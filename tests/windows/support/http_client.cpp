// Requests around the system under test, over a connection each: its internet layer has no part in them.
#include "tests/support/http_client.h"

#include <stdexcept>

#include "tests/windows/support/connection.h"

namespace testing_support {

namespace {

struct Address {
    std::uint16_t port;
    std::string target;
};

// Of "http://127.0.0.1:1234/path".
Address Split(const std::string& url) {
    const std::size_t colon = url.find(':', url.find("//") + 2);
    const std::size_t slash = std::min(url.find('/', colon), url.size());
    const std::string target = url.substr(slash);
    return {static_cast<std::uint16_t>(std::stoi(url.substr(colon + 1, slash - colon - 1))),
            target.empty() ? "/" : target};
}

std::string HeadOf(const HttpCall& call, const Address& address) {
    std::string head = call.method + " " + address.target +
                       " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(address.port) +
                       "\r\nConnection: close\r\n";
    for (const std::string& header : call.headers) head += header + "\r\n";
    if (call.body) head += "Content-Length: " + std::to_string(call.body->size()) + "\r\n";
    return head + "\r\n";
}

std::string Unchunked(std::string_view chunks) {
    std::string body;
    for (;;) {
        const std::size_t line = chunks.find("\r\n");
        if (line == std::string_view::npos) return body;
        const std::size_t size = std::stoul(std::string(chunks.substr(0, line)), nullptr, 16);
        if (size == 0) return body;
        body += chunks.substr(line + 2, size);
        chunks.remove_prefix(std::min(chunks.size(), line + 2 + size + 2));
    }
}

HttpAnswer Read(const std::string& bytes) {
    HttpAnswer answer;
    const std::size_t end = bytes.find("\r\n\r\n");
    if (end == std::string::npos) throw std::runtime_error("there is no whole answer");
    answer.status = std::stoi(bytes.substr(bytes.find(' ') + 1));
    for (std::size_t at = bytes.find("\r\n"); at < end;) {
        const std::size_t next = bytes.find("\r\n", at + 2);
        answer.AddHeader(std::string_view(bytes).substr(at + 2, next - at - 2));
        at = next;
    }
    answer.body = bytes.substr(end + 4);
    if (answer.Header("Transfer-Encoding") == "chunked") answer.body = Unchunked(answer.body);
    return answer;
}

}  // namespace

HttpAnswer Http(const HttpCall& call) {
    const Address address = Split(call.url);
    Connection connection(address.port);
    connection.Send(HeadOf(call, address));
    if (call.body) connection.Send(*call.body);
    std::string bytes;
    for (std::string block; !(block = connection.Receive()).empty();) bytes += block;
    return Read(bytes);
}

}  // namespace testing_support
