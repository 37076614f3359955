#include "admin/request_log.h"

#include <chrono>
#include <stdexcept>

#include "base/clock.h"
#include "base/json.h"

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
    JsonWriter json;
    json.object().member("number", number).member("time", iso_time(now()));
    json.member("method", request.method);
    json.member("http_method_header", request.headers.get("X-HTTP-Method"));
    json.member("depth", request.headers.get("Depth"));
    json.member("path", request.path).member("query", request.query_text);
    json.member("status", result.status).member("user", user);
    json.member("bytes_in", result.bytes_in).member("bytes_out", result.bytes_out);
    json.key("headers").array();
    for (const auto& [name, value] : request.headers.all()) json.value(name);
    auto line = json.end_array().end_object().take();
    std::lock_guard lock(m_mutex);
    m_running.erase(number);
    m_changed.notify_all();
    if (m_file.is_open()) m_file << line << std::endl;
    m_lines.emplace(number, std::move(line));
    if (m_lines.size() > max_lines) m_lines.erase(m_lines.begin());
}

// A client can ask for the log before the thread that answered it has written its line. The wait is short, so
// that a stalled exchange doesn't hold it up.
void RequestLog::await_finished(std::unique_lock<std::mutex>& lock) {
    m_changed.wait_for(lock, std::chrono::seconds(1), [this] { return m_running.empty(); });
}

std::string RequestLog::json() {
    std::unique_lock lock(m_mutex);
    await_finished(lock);
    JsonWriter json;
    json.array();
    // One line for each request, for human readers.
    for (const auto& [number, line] : m_lines) json.raw(json.size() > 1 ? "\n" + line : line);
    return json.end_array().take();
}

void RequestLog::clear() {
    std::unique_lock lock(m_mutex);
    await_finished(lock);
    m_lines.clear();
}

}  // namespace devserver
