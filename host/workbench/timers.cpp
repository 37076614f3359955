#include "host/workbench/timers.h"

#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace host {

namespace {

struct Timer {
    ComPtr<TMK::ITMK_TimerCallback> callback;
    std::chrono::milliseconds interval;
    bool once;
};

}  // namespace

struct Timers::State : std::enable_shared_from_this<State> {
    explicit State(RunAfter run) : run_after(std::move(run)) {}

    void Schedule(DWORD id, std::chrono::milliseconds interval) {
        run_after(interval, [weak = weak_from_this(), id] {
            if (const auto state = weak.lock()) state->Fire(id);
        });
    }
    void Fire(DWORD id) {
        Timer timer;
        {
            const std::lock_guard lock(mutex);
            const auto found = timers.find(id);
            if (found == timers.end()) return;
            timer = found->second;
            if (timer.once) timers.erase(found);
        }
        timer.callback->OnTimer(id);
        const bool goes_on = [&] {
            const std::lock_guard lock(mutex);
            return timers.contains(id);
        }();
        if (goes_on) Schedule(id, timer.interval);
    }
    // The caller releases it outside the lock.
    std::optional<Timer> Take(DWORD id) {
        const std::lock_guard lock(mutex);
        const auto found = timers.find(id);
        if (found == timers.end()) return std::nullopt;
        Timer taken = std::move(found->second);
        timers.erase(found);
        return taken;
    }

    const RunAfter run_after;
    std::mutex mutex;
    DWORD last_id = 0;
    std::map<DWORD, Timer> timers;
};

Timers::Timers(RunAfter run_after) : m_state(std::make_shared<State>(std::move(run_after))) {}

Timers::~Timers() = default;

DWORD Timers::Start(ComPtr<TMK::ITMK_TimerCallback> callback, std::chrono::milliseconds interval, bool once) {
    DWORD id = 0;
    {
        const std::lock_guard lock(m_state->mutex);
        id = ++m_state->last_id;
        m_state->timers[id] = {std::move(callback), interval, once};
    }
    m_state->Schedule(id, interval);
    return id;
}

bool Timers::Stop(DWORD id) {
    return m_state->Take(id).has_value();
}

void Timers::StopAll() {
    std::map<DWORD, Timer> stopped;
    const std::lock_guard lock(m_state->mutex);
    stopped.swap(m_state->timers);
}

}  // namespace host
