#include "admin/request_log.h"

#include <chrono>
#include <stdexcept>

#include "base/clock.h"
#include "base/json.h"

namespace devserver {
namespace {
constexpr std::size_t kMaxLines = 100'000;
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

void RequestLog::Finish(std::size_t number, const http::Request& request, const http::ExchangeResult& result,
                        const std::string& user) {
    JsonWriter json;
    json.StartObject().Member("number", number).Member("time", IsoTime(Now()));
    json.Member("method", request.method);
    json.Member("http_method_header", request.headers.get("X-HTTP-Method"));
    json.Member("depth", request.headers.get("Depth"));
    json.Member("path", request.path).Member("query", request.query_text);
    json.Member("status", result.status).Member("user", user);
    json.Member("bytes_in", result.bytes_in).Member("bytes_out", result.bytes_out);
    json.Key("headers").StartArray();
    for (const auto& [name, value] : request.headers.all()) json.Value(name);
    auto line = json.EndArray().EndObject().Take();
    std::lock_guard lock(m_mutex);
    m_running.erase(number);
    m_changed.notify_all();
    if (m_file.is_open()) m_file << line << std::endl;
    m_lines.emplace(number, std::move(line));
    if (m_lines.size() > kMaxLines) m_lines.erase(m_lines.begin());
}

// A client can ask for the log before the thread that answered it has written its line. The wait is short, so
// that a stalled exchange doesn't hold it up.
void RequestLog::AwaitFinished(std::unique_lock<std::mutex>& lock) {
    m_changed.wait_for(lock, std::chrono::seconds(1), [this] { return m_running.empty(); });
}

std::string RequestLog::json() {
    std::unique_lock lock(m_mutex);
    AwaitFinished(lock);
    JsonWriter json;
    json.StartArray();
    // One line for each request, for human readers.
    for (const auto& [number, line] : m_lines) json.Raw(json.size() > 1 ? "\n" + line : line);
    return json.EndArray().Take();
}

void RequestLog::Clear() {
    std::unique_lock lock(m_mutex);
    AwaitFinished(lock);
    m_lines.clear();
}

}  // namespace devserver
