// The timers that plug-ins start, over what the front end runs later on the main thread.
// Start and Stop from any thread, the rest on the main thread.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "hostapi/ieditor.h"
#include "platform/com_ptr.h"

namespace host {

// Runs work on the main thread after a delay, or never when the program ends before. Any thread.
using RunAfter = std::function<void(std::chrono::milliseconds delay, std::function<void()> work)>;

class Timers {
public:
    explicit Timers(RunAfter run_after);
    ~Timers();
    Timers(const Timers&) = delete;
    Timers& operator=(const Timers&) = delete;

    // Calls back after each interval, or once; gives the timer's id.
    DWORD Start(ComPtr<TMK::ITMK_TimerCallback> callback, std::chrono::milliseconds interval, bool once);
    // False when it runs no more.
    bool Stop(DWORD id);
    void StopAll();

private:
    struct State;
    const std::shared_ptr<State> m_state;
};

}  // namespace host
