// A server that answers from memory what it was asked before.
#include "replay_server.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "harness.h"

namespace bench {

namespace {

std::string HeaderValue(const std::string& head, const char* name) {
    const std::string line = std::string("\r\n") + name + ":";
    const char* const found = strcasestr(head.c_str(), line.c_str());
    if (!found) return {};
    const char* start = found + line.size();
    while (*start == ' ') ++start;
    return {start, strcspn(start, "\r\n")};
}

bool SendAll(int connection, const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t sent = send(connection, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        at += static_cast<std::size_t>(sent);
    }
    return true;
}

}  // namespace

ReplayServer::ReplayServer(std::string behind) : m_behind(std::move(behind)) {
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(m_listener, plain, length) != 0 || listen(m_listener, 8) != 0 ||
        getsockname(m_listener, plain, &length) != 0) {
        throw std::runtime_error("can't listen");
    }
    m_origin = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    m_accepting = std::thread([this] { Accept(); });
}

ReplayServer::~ReplayServer() {
    shutdown(m_listener, SHUT_RDWR);
    m_accepting.join();
    for (const int connection : m_connections) shutdown(connection, SHUT_RDWR);
    for (std::thread& thread : m_threads) thread.join();
    for (const int connection : m_connections) close(connection);
    close(m_listener);
}

std::string ReplayServer::LongestTarget(std::size_t& out_length) const {
    const std::lock_guard lock(m_mutex);
    std::string longest;
    out_length = 0;
    for (const auto& [request, answer] : m_answers) {
        if (answer.size() <= out_length) continue;
        out_length = answer.size();
        const std::size_t start = request.find(' ') + 1;
        longest = request.substr(start, request.find(' ', start) - start);
    }
    return longest;
}

void ReplayServer::Accept() {
    for (int connection; (connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        const int on = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        m_connections.push_back(connection);
        m_threads.emplace_back([this, connection] { Serve(connection); });
    }
}

void ReplayServer::Serve(int connection) {
    std::string pending;
    char block[16384];
    for (;;) {
        const std::size_t end = pending.find("\r\n\r\n");
        const std::size_t body_size =
            end == std::string::npos
                ? 0
                : std::strtoul(HeaderValue(pending.substr(0, end + 4), "Content-Length").c_str(), nullptr,
                               10);
        if (end != std::string::npos && pending.size() >= end + 4 + body_size) {
            ++m_count;
            const bool sent =
                SendAll(connection, AnswerTo(pending.substr(0, end + 4), pending.substr(end + 4, body_size)));
            pending.erase(0, end + 4 + body_size);
            if (!sent) return;
            continue;
        }
        const ssize_t got = recv(connection, block, sizeof block, 0);
        if (got <= 0) return;
        pending.append(block, static_cast<std::size_t>(got));
    }
}

std::string ReplayServer::AnswerTo(const std::string& head, const std::string& body) {
    const std::string request = head.substr(0, head.find("\r\n"));
    const std::string key = request + " " + HeaderValue(head, "Depth");
    const std::lock_guard lock(m_mutex);
    const auto known = m_answers.find(key);
    if (known != m_answers.end()) return known->second;
    const std::size_t start = request.find(' ') + 1;
    e2e::HttpCall call{.method = request.substr(0, start - 1),
                       .url = m_behind + request.substr(start, request.rfind(' ') - start),
                       .body = body};
    for (const char* name : {"Authorization", "Accept", "Host", "Content-Type", "Depth", "SOAPAction"}) {
        const std::string value = HeaderValue(head, name);
        if (!value.empty()) call.headers.push_back(std::string(name) + ": " + value);
    }
    const e2e::HttpAnswer answer = e2e::Http(call);
    std::string text = "HTTP/1.1 " + std::to_string(answer.status) +
                       " Recorded\r\nContent-Type: " + HeaderValue(answer.headers, "Content-Type") +
                       "\r\nContent-Length: " + std::to_string(answer.body.size()) + "\r\n";
    if (answer.status == 401) {
        // What comes with the sign-in is another answer.
        return text + "WWW-Authenticate: Basic realm=\"site\"\r\n\r\n" + answer.body;
    }
    return m_answers[key] = text + "\r\n" + answer.body;
}

}  // namespace bench
