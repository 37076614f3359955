#include "host/desktop/work/worker.h"

#include "host/desktop/front_end/text.h"

namespace desktop {

Worker::Worker(host::Host& host, DesktopFrontEnd& front_end, std::shared_ptr<host::Sites> sites)
    : m_host(host), m_front_end(front_end), m_sites(std::move(sites)) {}

Worker::~Worker() {
    CancelAll();
    m_front_end.main_thread().PumpUntil([this] { return m_threads.empty(); });
}

void Worker::CancelAll() {
    for (const Running& running : m_threads) running.progress->is_canceled = true;
}

std::optional<JobFailure> Worker::Run(const Work& work, const std::shared_ptr<Progress>& progress) {
    m_front_end.SetProgress(progress);
    std::optional<JobFailure> failure;
    try {
        host::Job job(m_host, m_sites, &progress->is_canceled, "File > Add Place adds its site");
        try {
            work(job);
        } catch (...) {
            job.SaveAccounts();
            throw;
        }
        job.SaveAccounts();
    } catch (const host::JobError& error) {
        failure = {ToQt(error.what + ": " + error.message + " (" + host::FormatResult(error.code) + ")"),
                   error.code == host::kCanceled, error.code};
    } catch (const host::Failure& error) {
        failure = {ToQt(error.what()), error.code() == host::kCanceled, error.code()};
    } catch (const std::exception& error) {
        failure = {ToQt(error.what()), false, E_FAIL};
    }
    m_front_end.SetProgress(nullptr);
    return failure;
}

std::shared_ptr<Progress> Worker::Start(Work work, Done done) {
    auto progress = std::make_shared<Progress>();
    m_threads.push_back({{}, progress});
    const auto running = std::prev(m_threads.end());
    running->thread = std::thread([this, running, progress, work = std::move(work), done = std::move(done)] {
        const auto failure = Run(work, progress);
        m_front_end.main_thread().Post([this, running, failure, done] {
            running->thread.join();
            m_threads.erase(running);
            done(failure);
            emit Ended();
            return S_OK;
        });
    });
    return progress;
}

std::optional<JobFailure> Worker::RunAndWait(const Work& work) {
    std::optional<JobFailure> failure;
    bool has_ended = false;
    Start(work, [&](const std::optional<JobFailure>& result) {
        failure = result;
        has_ended = true;
    });
    m_front_end.main_thread().PumpUntil([&] { return has_ended; });
    return failure;
}

}  // namespace desktop
