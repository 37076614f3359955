#include "admin/request_log.h"

#include <chrono>
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

std::size_t RequestLog::begin() {
    std::lock_guard lock(m_mutex);
    m_running.insert(++m_number);
    return m_number;
}

void RequestLog::finish(std::size_t number, const http::Request& request, const http::ExchangeResult& result,
                        const std::string& user) {
    using odata::json_text;
    std::string names;
    for (const auto& [name, value] : request.headers.all())
        names += (names.empty() ? "" : ",") + json_text(name);
    auto method = request.headers.get("X-HTTP-Method");
    auto line = "{\"number\":" + std::to_string(number) + ",\"time\":" + json_text(iso_time(now())) +
                ",\"method\":" + json_text(request.method) + ",\"http_method_header\":" + json_text(method) +
                ",\"depth\":" + json_text(request.headers.get("Depth")) +
                ",\"path\":" + json_text(request.path) + ",\"query\":" + json_text(request.query_text) +
                ",\"status\":" + std::to_string(result.status) + ",\"user\":" + json_text(user) +
                ",\"bytes_in\":" + std::to_string(result.bytes_in) +
                ",\"bytes_out\":" + std::to_string(result.bytes_out) + ",\"headers\":[" + names + "]}";
    std::lock_guard lock(m_mutex);
    m_running.erase(number);
    m_changed.notify_all();
    if (m_file.is_open()) m_file << line << std::endl;
    m_lines.emplace(number, std::move(line));
    if (m_lines.size() > max_lines) m_lines.erase(m_lines.begin());
}

// A client can read the log before the thread that answered it has come here; a stalled exchange isn't waited
// for.
void RequestLog::await_finished(std::unique_lock<std::mutex>& lock) {
    m_changed.wait_for(lock, std::chrono::seconds(1), [this] { return m_running.empty(); });
}

std::string RequestLog::json() {
    std::unique_lock lock(m_mutex);
    await_finished(lock);
    std::string text = "[";
    for (const auto& [number, line] : m_lines) text += (text.size() > 1 ? ",\n" : "") + line;
    return text + "]";
}

void RequestLog::clear() {
    std::unique_lock lock(m_mutex);
    await_finished(lock);
    m_lines.clear();
}

}  // namespace devserver
