#include "host/base/main_thread.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>

#include "host/base/failure.h"

namespace host {

HRESULT MainThread::Run(std::function<HRESULT()> work, bool wait) {
    if (IsCurrent()) {
        const HRESULT result = Guarded(work);
        return wait ? result : S_OK;
    }
    std::future<HRESULT> result = Queue(std::move(work));
    if (!result.valid()) return E_ABORT;
    return wait ? result.get() : S_OK;
}

std::future<HRESULT> MainThread::Queue(std::function<HRESULT()> work) {
    std::future<HRESULT> result;
    {
        const std::lock_guard lock(m_mutex);
        if (m_stopped) return result;
        Item item{std::move(work), {}};
        result = item.done.get_future();
        m_queue.push(std::move(item));
    }
    Wake();
    return result;
}

void MainThread::Post(std::function<HRESULT()> work) {
    Queue(std::move(work));
}

bool MainThread::RunOne() {
    Item item;
    {
        const std::lock_guard lock(m_mutex);
        if (m_queue.empty()) return false;
        item = std::move(m_queue.front());
        m_queue.pop();
    }
    const HRESULT result = Guarded(item.work);
    item.work = nullptr;
    item.done.set_value(result);
    return true;
}

void MainThread::RunWorker(const std::function<void()>& job) {
    std::atomic<bool> has_ended{false};
    std::exception_ptr thrown;
    std::thread worker([&] {
        try {
            job();
        } catch (...) {
            thrown = std::current_exception();
        }
        has_ended = true;
        Wake();
    });
    PumpUntil([&] { return has_ended.load(); });
    worker.join();
    while (RunOne()) {
    }
    if (thrown) std::rethrow_exception(thrown);
}

void MainThread::Stop() {
    std::queue<Item> dropped;
    {
        const std::lock_guard lock(m_mutex);
        m_stopped = true;
        dropped.swap(m_queue);
    }
    for (; !dropped.empty(); dropped.pop()) dropped.front().done.set_value(E_ABORT);
}

void WaitingMainThread::PumpUntil(const std::function<bool()>& done) {
    constexpr std::chrono::milliseconds kCheckInterval{50};
    while (!done()) {
        if (RunOne() || RunDue()) continue;
        std::unique_lock lock(m_mutex);
        auto until = Clock::now() + kCheckInterval;
        if (!m_later.empty()) until = std::min(until, m_later.begin()->first);
        m_changed.wait_until(lock, until, [this] { return m_is_woken; });
        m_is_woken = false;
    }
}

void WaitingMainThread::PostAfter(std::chrono::milliseconds delay, std::function<void()> work) {
    {
        const std::lock_guard lock(m_mutex);
        m_later.emplace(Clock::now() + delay, std::move(work));
    }
    Wake();
}

bool WaitingMainThread::RunDue() {
    std::function<void()> work;
    {
        const std::lock_guard lock(m_mutex);
        if (m_later.empty() || m_later.begin()->first > Clock::now()) return false;
        work = std::move(m_later.begin()->second);
        m_later.erase(m_later.begin());
    }
    Guarded([&] {
        work();
        return S_OK;
    });
    return true;
}

void WaitingMainThread::Wake() {
    {
        const std::lock_guard lock(m_mutex);
        m_is_woken = true;
    }
    m_changed.notify_all();
}

}  // namespace host
