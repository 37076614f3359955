// The window as a front end of the host: prompts, sign-in questions and notices as windows, sign-in pages in
// the window of a program of its own. Made on the main thread.
#pragma once

#include <QPointer>
#include <QWidget>
#include <map>
#include <mutex>

#include "host/browser/browser_choice.h"
#include "host/core/front_end.h"
#include "host/desktop/front_end/qt_main_thread.h"

namespace desktop {

struct DesktopChoices {
    host::BrowserChoice browser;
    // Makes what shows the windows of plug-ins; none for no such windows.
    std::unique_ptr<host::DialogViews> (*make_dialogs)(const QPointer<QWidget>& parent) = nullptr;
};

// How far a job is, and whether it is to end. Any thread.
struct Progress {
    std::atomic<bool> is_canceled{false};
    std::atomic<std::uint64_t> position{0};
    std::atomic<std::uint64_t> total{0};  // 0 while it is unknown
};

class DesktopFrontEnd final : public host::FrontEnd {
public:
    explicit DesktopFrontEnd(DesktopChoices choices = {});
    ~DesktopFrontEnd() override;

    // The parent of what is shown from now on.
    void SetWindow(QWidget* window) { m_window = window; }
    // Gets the warnings, on the main thread; those from before are passed at once.
    void SetWarningListener(std::function<void(const QString&)> listener);
    QtMainThread& qt_main_thread() { return m_main_thread; }
    // Shows the progress of this thread's transfers there; null for nowhere.
    void SetProgress(std::shared_ptr<Progress> progress);

    bool CanAsk() const override { return true; }
    unsigned Ask(host::Prompt& prompt) override;

    std::optional<host::Credentials> AskCredentials(const host::CredentialsQuestion& question) override;
    bool CanOpenPages() const override;
    std::unique_ptr<host::SignInNotice> OpenPage(const std::string& url) override;
    std::unique_ptr<host::SignInNotice> ShowCode(const std::string& page, const std::string& code) override;

    host::MainThread& main_thread() override { return m_main_thread; }
    void RunAfter(std::chrono::milliseconds delay, std::function<void()> work) override;
    host::Windows& windows() override { return *m_windows; }
    host::DialogViews* dialog_views() override { return m_dialogs.get(); }
    HWND main_window() const override;
    std::unique_ptr<host::Browser> MakeBrowser(const host::Profile& profile,
                                               std::shared_ptr<const host::Cipher> cipher,
                                               std::function<void(const std::string&)> note) override;
    std::unique_ptr<host::ProgressDisplay> ShowProgress(std::uint64_t total) override;
    void Warn(const std::string& line) override;

private:
    const DesktopChoices m_choices;
    QtMainThread m_main_thread;
    const std::unique_ptr<host::Windows> m_windows;
    QPointer<QWidget> m_window;
    const std::unique_ptr<host::DialogViews> m_dialogs;  // null for none
    std::function<void(const QString&)> m_on_warning;
    QStringList m_early_warnings;
    std::mutex m_mutex;
    std::map<std::thread::id, std::shared_ptr<Progress>> m_progress;
};

}  // namespace desktop
