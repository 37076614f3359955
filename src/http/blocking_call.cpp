#include "http/blocking_call.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "base/failure.h"
#include "base/operation_scope.h"
#include "platform/com_ptr.h"
#include "platform/wininet.h"

namespace Http {

namespace {
using Clock = std::chrono::system_clock;
constexpr std::chrono::milliseconds kBetweenLooks(50);
// How many looks without a call there are before the thread sleeps: most calls needn't wake it then.
constexpr int kIdleLooks = 20;
}  // namespace

class CancelWatch {
public:
    ~CancelWatch() {
        {
            const std::lock_guard guard(m_guard);
            m_ends = true;
        }
        m_wake.notify_one();
        if (m_thread.joinable()) m_thread.join();
    }

    uint64_t Add(Handle request, TMK::ITMK_CancelFlag* flag, std::chrono::milliseconds patience) {
        const std::lock_guard guard(m_guard);
        m_calls.push_back({++m_last_id, request, ComPtr<TMK::ITMK_CancelFlag>(flag), patience, {}});
        if (!m_thread.joinable()) m_thread = std::thread([this] { Run(); });
        if (m_sleeps) m_wake.notify_one();
        return m_last_id;
    }
    // False when the call was ended.
    bool Remove(uint64_t id) {
        const std::lock_guard guard(m_guard);
        return std::erase_if(m_calls, [id](const Call& call) { return call.id == id; }) != 0;
    }
    bool ForgetClosed(Handle request) {
        const std::lock_guard guard(m_guard);
        return m_closed.erase(request) != 0;
    }

private:
    struct Call {
        uint64_t id;
        Handle request;
        ComPtr<TMK::ITMK_CancelFlag> flag;
        std::chrono::milliseconds patience;
        Clock::time_point cancelled_at;
    };

    void Run() {
        int idle_looks = 0;
        std::unique_lock lock(m_guard);
        while (!m_ends) {
            idle_looks = m_calls.empty() ? idle_looks + 1 : 0;
            m_sleeps = idle_looks > kIdleLooks;
            if (m_sleeps) {
                m_wake.wait(lock, [this] { return m_ends || !m_calls.empty(); });
            } else {
                m_wake.wait_until(lock, Clock::now() + kBetweenLooks, [this] { return m_ends; });
            }
            m_sleeps = false;
            Look(lock);
        }
    }

    // The host's flags are asked without the lock, since they are the host's code.
    void Look(std::unique_lock<std::mutex>& lock) {
        std::vector<Call> calls = m_calls;
        lock.unlock();
        std::erase_if(calls, [](const Call& call) { return !IsCanceled(call.flag.get()); });
        lock.lock();
        for (const Call& cancelled : calls) End(cancelled.id);
    }

    void End(uint64_t id) {
        const auto call = std::ranges::find(m_calls, id, &Call::id);
        if (call == m_calls.end()) return;
        const auto now = Clock::now();
        if (call->cancelled_at == Clock::time_point()) call->cancelled_at = now;
        if (now - call->cancelled_at < call->patience) return;
        m_closed.insert(call->request);
        InternetCloseHandle(call->request);
        m_calls.erase(call);
    }

    std::mutex m_guard;
    std::condition_variable m_wake;
    std::vector<Call> m_calls;
    std::set<Handle> m_closed;
    uint64_t m_last_id = 0;
    bool m_sleeps = false;
    bool m_ends = false;
    std::thread m_thread;
};

std::shared_ptr<CancelWatch> GetCancelWatch() {
    static std::mutex mutex;
    static std::weak_ptr<CancelWatch> shared;
    const std::lock_guard guard(mutex);
    auto watch = shared.lock();
    if (!watch) shared = watch = std::make_shared<CancelWatch>();
    return watch;
}

BlockingCall::BlockingCall(Handle request, std::chrono::milliseconds patience) {
    TMK::ITMK_CancelFlag* const flag = OperationScope::Flag();
    if (!flag) return;
    m_watch = GetCancelWatch();
    m_id = m_watch->Add(request, flag, patience);
}

BlockingCall::~BlockingCall() {
    if (m_watch) m_watch->Remove(m_id);
}

void BlockingCall::Finish() {
    if (!m_watch) return;
    const bool was_ended = !m_watch->Remove(m_id);
    m_watch.reset();
    if (was_ended) throw HResultException(E_CANCELED);
}

void CloseRequest(Handle request) {
    if (request && !GetCancelWatch()->ForgetClosed(request)) InternetCloseHandle(request);
}

}  // namespace Http
