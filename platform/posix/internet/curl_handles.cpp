// Libcurl's handles and the pools of idle ones.
// A pool is shared by all threads, handles belong to one at a time.
#include <atomic>

#include "internet/pipe_signal.h"
#include "internet/transfer.h"

namespace platform::internet {

namespace {

std::atomic<unsigned> g_session{0};

void InitialiseLibrary() {
    static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
    static_cast<void>(result);
}

}  // namespace

CurlHandles::CurlHandles() {
    InitialiseLibrary();
    m_multi = curl_multi_init();
    m_easy = curl_easy_init();
}

CurlHandles::~CurlHandles() {
    const PipeSignalGuard guard;
    curl_easy_cleanup(m_easy);
    curl_multi_cleanup(m_multi);
}

void CurlHandles::UseFor(const std::string& origin) {
    if (!m_origin.empty() && m_origin != origin) {
        curl_easy_cleanup(m_easy);
        m_easy = curl_easy_init();
    }
    m_origin = origin;
}

std::unique_ptr<CurlHandles> CurlHandlePool::Take() {
    {
        const std::lock_guard lock(m_mutex);
        while (!m_idle.empty()) {
            std::unique_ptr<CurlHandles> handles = std::move(m_idle.back());
            m_idle.pop_back();
            if (handles->m_session == g_session) return handles;
        }
    }
    auto handles = std::make_unique<CurlHandles>();
    handles->m_session = g_session;
    return handles->ok() ? std::move(handles) : nullptr;
}

void CurlHandlePool::GiveBack(std::unique_ptr<CurlHandles> handles) {
    const std::lock_guard lock(m_mutex);
    if (handles && handles->ok() && handles->m_session == g_session && m_idle.size() < kMaxIdle)
        m_idle.push_back(std::move(handles));
}

void CurlHandlePool::EndSession() {
    ++g_session;
}

}  // namespace platform::internet
