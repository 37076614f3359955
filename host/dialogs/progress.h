// The windows of progress: shown when the work takes long enough to be seen. Made by any thread.
#pragma once

#include "host/base/main_thread.h"
#include "host/dialogs/views.h"
#include "host/workbench/timers.h"
#include "hostapi/itmk.h"

namespace host {

// Makes objects of progress; what it is made of outlives them. Any thread.
class ProgressMaker {
public:
    // `views` is null where windows can't be shown.
    ProgressMaker(MainThread& main_thread, RunAfter run_after, DialogViews* views)
        : m_main_thread(main_thread), m_run_after(std::move(run_after)), m_views(views) {}
    ComPtr<TMK::ITMK_Progress> Make() const;

private:
    MainThread& m_main_thread;
    const RunAfter m_run_after;
    DialogViews* const m_views;
};

}  // namespace host
