// The main thread's queue: work that any thread may hand over, run where the host was started.
// Owned by the host instance; Post and Run from any thread, Pump on the main thread alone.
#pragma once

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <queue>
#include <thread>

#include "platform/base.h"

namespace host {

class MainThread {
public:
    // The thread that makes it is the main thread.
    MainThread() : m_id(std::this_thread::get_id()) {}

    bool IsCurrent() const { return std::this_thread::get_id() == m_id; }

    // Runs on the main thread; at once when this is it. With `wait` the result is the work's, without it
    // S_OK. E_ABORT when the main thread has stopped pumping for good.
    HRESULT Run(std::function<HRESULT()> work, bool wait);

    // Runs on the main thread later, never out of this call. Dropped when the main thread has stopped.
    void Post(std::function<HRESULT()> work);

    // For the main thread, inside work of its own: runs what is queued until `done`, which is asked after each
    // piece of work and now and then between, so that it may look at a signal's flag.
    void PumpUntil(const std::function<bool()>& done);

    // Runs `job` on a thread of its own and what is queued here until that ends; rethrows what it throws.
    void RunWorker(const std::function<void()>& job);

    // Refuses further work and lets waiting callers go.
    void Stop();

private:
    struct Item {
        std::function<HRESULT()> work;
        std::promise<HRESULT> done;
    };
    std::future<HRESULT> Queue(std::function<HRESULT()> work);
    void RunOne(std::unique_lock<std::mutex>& lock);

    const std::thread::id m_id;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::queue<Item> m_queue;
    bool m_stopped = false;
};

}  // namespace host
