#include "bench/replay_server.h"

#include "tests/support/http_client.h"

namespace bench {

using namespace testing_support;

ReplayServer::ReplayServer(std::string behind)
    : m_behind(std::move(behind)),
      m_server([this](Exchange& exchange) { exchange.send(AnswerTo(exchange)); }) {}

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

std::string ReplayServer::AnswerTo(const Exchange& request) {
    const std::string key = request.head.substr(0, request.head.find("\r\n")) + " " + request.header("Depth");
    const std::lock_guard lock(m_mutex);
    const auto known = m_answers.find(key);
    if (known != m_answers.end()) return known->second;
    HttpCall call{.method = request.method, .url = m_behind + request.target};
    if (!request.body.empty() || request.method == "POST") call.body = request.body;
    for (const char* name : {"Authorization", "Accept", "Host", "Content-Type", "Depth", "SOAPAction"}) {
        const std::string value = request.header(name);
        if (!value.empty()) call.headers.push_back(std::string(name) + ": " + value);
    }
    const HttpAnswer answer = Http(call);
    std::string text = "HTTP/1.1 " + std::to_string(answer.status) +
                       " Recorded\r\nContent-Type: " + answer.Header("Content-Type") +
                       "\r\nContent-Length: " + std::to_string(answer.body.size()) + "\r\n";
    if (answer.status == 401) {
        // What comes with the sign-in is another answer.
        return text + "WWW-Authenticate: Basic realm=\"site\"\r\n\r\n" + answer.body;
    }
    return m_answers[key] = text + "\r\n" + answer.body;
}

}  // namespace bench
