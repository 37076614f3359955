#include "host/dialogs/progress.h"

#include <mutex>

namespace host {

namespace {

constexpr std::chrono::milliseconds kUntilShown{500};

// What the object shares with the work that it leaves on the main thread.
struct Shown {
    std::mutex mutex;
    ProgressTexts texts;
    bool is_running = false;
    unsigned start = 0;                  // counts the starts
    std::unique_ptr<ProgressView> view;  // main thread
    const ComPtr<CancelFlag> cancel = Make<CancelFlag>();

    ProgressTexts Texts() {
        const std::lock_guard lock(mutex);
        return texts;
    }
    bool IsRunning(unsigned of_start) {
        const std::lock_guard lock(mutex);
        return is_running && start == of_start;
    }
};

class Progress final : public Object<TMK::ITMK_Progress> {
public:
    Progress(MainThread& main_thread, const RunAfter& run_after, DialogViews* views)
        : m_main_thread(main_thread), m_run_after(run_after), m_views(views) {}
    ~Progress() override { Stop(); }

    HRESULT put_Title(LPCWSTR title) override { return Put(&ProgressTexts::title, title); }
    HRESULT put_Text(LPCWSTR text) override { return Put(&ProgressTexts::text, text); }
    HRESULT put_Status(LPCWSTR status) override { return Put(&ProgressTexts::status, status); }
    HRESULT Start() override {
        return Guarded([&] {
            unsigned start = 0;
            {
                const std::lock_guard lock(m_shown->mutex);
                if (std::exchange(m_shown->is_running, true)) return S_FALSE;
                start = ++m_shown->start;
            }
            if (!m_views) return S_OK;
            m_run_after(kUntilShown, [shown = m_shown, views = m_views, start] {
                if (shown->IsRunning(start)) shown->view = views->ShowProgress(shown->Texts(), shown->cancel);
            });
            return S_OK;
        });
    }
    HRESULT Stop() override {
        return Guarded([&] {
            {
                const std::lock_guard lock(m_shown->mutex);
                if (!std::exchange(m_shown->is_running, false)) return S_FALSE;
            }
            m_main_thread.Post([shown = m_shown] {
                if (!shown->IsRunning(shown->start)) shown->view.reset();
                return S_OK;
            });
            return S_OK;
        });
    }
    HRESULT get_CancelFlag(TMK::ITMK_CancelFlag** out_cancel_flag) override {
        return ComPtr<TMK::ITMK_CancelFlag>(m_shown->cancel).CopyTo(out_cancel_flag);
    }

private:
    HRESULT Put(std::u16string ProgressTexts::*member, LPCWSTR text) {
        return Guarded([&] {
            {
                const std::lock_guard lock(m_shown->mutex);
                m_shown->texts.*member = FromWide(text);
            }
            m_main_thread.Post([shown = m_shown] {
                if (shown->view) shown->view->Update(shown->Texts());
                return S_OK;
            });
            return S_OK;
        });
    }

    MainThread& m_main_thread;
    const RunAfter& m_run_after;
    DialogViews* const m_views;
    const std::shared_ptr<Shown> m_shown = std::make_shared<Shown>();
};

}  // namespace

ComPtr<TMK::ITMK_Progress> ProgressMaker::Make() const {
    return host::Make<Progress>(m_main_thread, m_run_after, m_views);
}

}  // namespace host
