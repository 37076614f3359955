// What was asked and answered, for tests: methods, addresses, sizes; names of headers, never their values.
// Owner: app/service; any thread.
#include "admin/request_log.h"

#include <stdexcept>

#include "base/clock.h"
#include "odata/format.h"

namespace devserver {
namespace {
constexpr std::size_t max_lines = 100'000;
}

RequestLog::RequestLog(const std::string& file) {
    if (file.empty()) return;
    m_file.open(file, std::ios::app);
    if (!m_file) throw std::runtime_error("cannot write the request log " + file);
}

void RequestLog::add(const http::Request& request, const http::ExchangeResult& result,
                     const std::string& user) {
    using odata::json_text;
    std::string names;
    for (const auto& [name, value] : request.headers.all())
        names += (names.empty() ? "" : ",") + json_text(name);
    auto method = request.headers.get("X-HTTP-Method");
    std::lock_guard lock(m_mutex);
    auto line = "{\"number\":" + std::to_string(++m_number) + ",\"time\":" + json_text(iso_time(now())) +
                ",\"method\":" + json_text(request.method) + ",\"http_method_header\":" + json_text(method) +
                ",\"path\":" + json_text(request.path) + ",\"query\":" + json_text(request.query_text) +
                ",\"status\":" + std::to_string(result.status) + ",\"user\":" + json_text(user) +
                ",\"bytes_in\":" + std::to_string(result.bytes_in) +
                ",\"bytes_out\":" + std::to_string(result.bytes_out) + ",\"headers\":[" + names + "]}";
    if (m_file.is_open()) m_file << line << std::endl;
    m_lines.push_back(std::move(line));
    if (m_lines.size() > max_lines) m_lines.pop_front();
}

std::string RequestLog::json() {
    std::lock_guard lock(m_mutex);
    std::string text = "[";
    for (const auto& line : m_lines) text += (text.size() > 1 ? ",\n" : "") + line;
    return text + "]";
}

void RequestLog::clear() {
    std::lock_guard lock(m_mutex);
    m_lines.clear();
}

}  // namespace devserver
