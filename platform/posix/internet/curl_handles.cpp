// Kept connections and the pools of them.
// A pool is shared by all threads, a line belongs to one at a time.
#include <atomic>

#include "internet/pipe_signal.h"
#include "internet/transfer.h"

namespace platform::internet {

namespace {

std::atomic<unsigned> g_session{0};

void initialise_library() {
    static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
    static_cast<void>(result);
}

}  // namespace

Line::Line() {
    initialise_library();
    m_multi = curl_multi_init();
    m_easy = curl_easy_init();
}

Line::~Line() {
    const PipeSignalGuard guard;
    curl_easy_cleanup(m_easy);
    curl_multi_cleanup(m_multi);
}

void Line::turn_to(const std::string& origin) {
    if (!m_origin.empty() && m_origin != origin) {
        curl_easy_cleanup(m_easy);
        m_easy = curl_easy_init();
    }
    m_origin = origin;
}

std::unique_ptr<Line> LinePool::take() {
    {
        const std::lock_guard lock(m_mutex);
        while (!m_idle.empty()) {
            std::unique_ptr<Line> line = std::move(m_idle.back());
            m_idle.pop_back();
            if (line->m_session == g_session) return line;
        }
    }
    auto line = std::make_unique<Line>();
    line->m_session = g_session;
    return line->ok() ? std::move(line) : nullptr;
}

void LinePool::give_back(std::unique_ptr<Line> line) {
    const std::lock_guard lock(m_mutex);
    if (line && line->ok() && line->m_session == g_session && m_idle.size() < kMaxIdle)
        m_idle.push_back(std::move(line));
}

void LinePool::end_session() {
    ++g_session;
}

}  // namespace platform::internet
