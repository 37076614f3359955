// Runs jobs on threads of their own and tells the main thread when they have ended. Main thread only; the
// work itself runs on a thread of its own.
#pragma once

#include <QObject>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <thread>

#include "host/desktop/front_end/desktop_front_end.h"
#include "host/jobs/job.h"

namespace desktop {

// Why a job failed, as a sentence for people; `is_canceled` when they asked for it.
struct JobFailure {
    QString message;
    bool is_canceled = false;
    HRESULT code = E_FAIL;
};

class Worker final : public QObject {
    Q_OBJECT
public:
    using Work = std::function<void(host::Job& job)>;
    using Done = std::function<void(const std::optional<JobFailure>& failure)>;

    // The host and the front end outlive it.
    Worker(host::Host& host, DesktopFrontEnd& front_end, std::shared_ptr<host::Sites> sites);
    // Cancels what runs and waits for its end.
    ~Worker() override;

    // `done` is called later on the main thread, also after a cancel, unless the worker ends before.
    std::shared_ptr<Progress> Start(Work work, Done done);
    // The same, and waits for the end while the main thread goes on.
    std::optional<JobFailure> RunAndWait(const Work& work);
    std::size_t Count() const { return m_threads.size(); }
    void CancelAll();

signals:
    void Ended();  // one job less

private:
    struct Running {
        std::thread thread;
        std::shared_ptr<Progress> progress;
    };
    std::optional<JobFailure> Run(const Work& work, const std::shared_ptr<Progress>& progress);

    host::Host& m_host;
    DesktopFrontEnd& m_front_end;
    const std::shared_ptr<host::Sites> m_sites;
    std::list<Running> m_threads;
};

}  // namespace desktop
