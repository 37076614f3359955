// The main thread's queue.
// Post from any thread, pump on the main thread.
#include "host/base/main_thread.h"

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
    m_changed.notify_all();
    return result;
}

void MainThread::Post(std::function<HRESULT()> work) {
    Queue(std::move(work));
}

void MainThread::PumpUntil(const std::function<bool()>& done) {
    constexpr std::chrono::milliseconds kLook{50};
    while (!done()) {
        std::unique_lock lock(m_mutex);
        if (m_queue.empty()) m_changed.wait_for(lock, kLook);
        if (!m_queue.empty()) RunOne(lock);
    }
}

void MainThread::RunOne(std::unique_lock<std::mutex>& lock) {
    Item item = std::move(m_queue.front());
    m_queue.pop();
    lock.unlock();
    const HRESULT result = Guarded(item.work);
    item.work = nullptr;
    item.done.set_value(result);
    lock.lock();
}

void MainThread::RunWorker(const std::function<void()>& job) {
    bool ended = false;
    std::exception_ptr thrown;
    std::thread worker([&] {
        try {
            job();
        } catch (...) {
            thrown = std::current_exception();
        }
        {
            const std::lock_guard lock(m_mutex);
            ended = true;
        }
        m_changed.notify_all();
    });
    {
        std::unique_lock lock(m_mutex);
        while (!ended || !m_queue.empty()) {
            if (m_queue.empty()) {
                m_changed.wait(lock);
            } else {
                RunOne(lock);
            }
        }
    }
    worker.join();
    if (thrown) std::rethrow_exception(thrown);
}

void MainThread::Stop() {
    std::unique_lock lock(m_mutex);
    m_stopped = true;
    while (!m_queue.empty()) {
        Item item = std::move(m_queue.front());
        m_queue.pop();
        item.done.set_value(E_ABORT);
    }
}

}  // namespace host
