// The main thread's queue of work. The front end owns it and implements the waiting. Post and Run from any
// thread, the rest on the main thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <queue>
#include <thread>

#include "platform/base.h"

namespace host {

class MainThread {
public:
    // The thread that makes it is the main thread.
    MainThread() : m_id(std::this_thread::get_id()) {}
    virtual ~MainThread() = default;
    MainThread(const MainThread&) = delete;
    MainThread& operator=(const MainThread&) = delete;

    bool IsCurrent() const { return std::this_thread::get_id() == m_id; }

    // Runs on the main thread; at once when this is it. With `wait` the result is the work's, without it
    // S_OK. E_ABORT when the main thread has stopped for good.
    HRESULT Run(std::function<HRESULT()> work, bool wait);

    // Runs on the main thread later, never within this call. Dropped when the main thread has stopped.
    void Post(std::function<HRESULT()> work);

    // Runs queued work until `done`, which is checked after each piece of work and at intervals.
    virtual void PumpUntil(const std::function<bool()>& done) = 0;

    // Runs `job` on a new thread, and queued work here until that ends; rethrows its exception.
    void RunWorker(const std::function<void()>& job);

    // Refuses further work and releases waiting callers.
    void Stop();

protected:
    // Something is queued, or a worker has ended. Any thread.
    virtual void Wake() = 0;
    // Runs the oldest piece of work; false when there is none.
    bool RunOne();

private:
    struct Item {
        std::function<HRESULT()> work;
        std::promise<HRESULT> done;
    };
    std::future<HRESULT> Queue(std::function<HRESULT()> work);

    const std::thread::id m_id;
    std::mutex m_mutex;
    std::queue<Item> m_queue;
    bool m_stopped = false;
};

// The main thread of a program that has no event loop: it sleeps until there is work.
class WaitingMainThread final : public MainThread {
public:
    void PumpUntil(const std::function<bool()>& done) override;
    // Runs after the delay, while somebody pumps and no other work waits. Any thread.
    void PostAfter(std::chrono::milliseconds delay, std::function<void()> work);

private:
    using Clock = std::chrono::steady_clock;

    void Wake() override;
    // Runs what is due first; false when nothing is.
    bool RunDue();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_is_woken = false;
    std::multimap<Clock::time_point, std::function<void()>> m_later;
};

}  // namespace host
