#include "host/desktop/front_end/desktop_front_end.h"

#include <QApplication>
#include <QTimer>

#include "host/base/text.h"
#include "host/desktop/front_end/page_windows.h"
#include "host/desktop/front_end/prompt_window.h"
#include "host/desktop/front_end/sign_in_windows.h"
#include "host/desktop/front_end/text.h"
#include "host/signin/open_page.h"

namespace desktop {

namespace {

// Shows a notice on the main thread as long as it lives.
class Notice final : public host::SignInNotice {
public:
    Notice(host::MainThread& main_thread, const std::string& page, const std::string& code,
           QPointer<QWidget> parent)
        : m_main_thread(main_thread) {
        m_main_thread.Run(
            [=, state = m_state] {
                state->window =
                    new PageNoticeWindow(ToQt(host::PlainLine(page)), ToQt(host::PlainLine(code)), parent);
                QObject::connect(state->window, &PageNoticeWindow::Canceled, state->window,
                                 [state] { state->is_canceled = true; });
                state->window->show();
                return S_OK;
            },
            true);
    }
    ~Notice() override {
        m_main_thread.Run(
            [state = m_state] {
                delete state->window;
                return S_OK;
            },
            false);
    }
    bool IsCanceled() const override { return m_state->is_canceled; }

private:
    struct State {
        std::atomic<bool> is_canceled{false};
        QPointer<PageNoticeWindow> window;  // main thread
    };
    host::MainThread& m_main_thread;
    const std::shared_ptr<State> m_state = std::make_shared<State>();
};

class Display final : public host::ProgressDisplay {
public:
    Display(std::shared_ptr<Progress> progress, std::uint64_t total) : m_progress(std::move(progress)) {
        m_progress->total = total;
    }
    ~Display() override { m_progress->total = 0; }
    void Show(std::uint64_t position) override { m_progress->position = position; }

private:
    const std::shared_ptr<Progress> m_progress;
};

}  // namespace

DesktopFrontEnd::DesktopFrontEnd(DesktopChoices choices)
    : m_choices(std::move(choices)),
      m_windows(MakePageWindows(m_main_thread, m_window)),
      m_dialogs(m_choices.make_dialogs ? m_choices.make_dialogs(m_window) : nullptr) {}

DesktopFrontEnd::~DesktopFrontEnd() = default;

void DesktopFrontEnd::SetWarningListener(std::function<void(const QString&)> listener) {
    m_on_warning = std::move(listener);
    if (!m_on_warning) return;
    for (const QString& line : std::exchange(m_early_warnings, {})) m_on_warning(line);
}

void DesktopFrontEnd::SetProgress(std::shared_ptr<Progress> progress) {
    const std::lock_guard lock(m_mutex);
    if (progress) {
        m_progress[std::this_thread::get_id()] = std::move(progress);
    } else {
        m_progress.erase(std::this_thread::get_id());
    }
}

unsigned DesktopFrontEnd::Ask(host::Prompt& prompt) {
    unsigned pressed = prompt.cancel_button;
    m_main_thread.Run(
        [&] {
            pressed =
                PromptWindow(prompt, QApplication::activeModalWidget() ? QApplication::activeModalWidget()
                                                                       : m_window.data())
                    .Ask();
            return S_OK;
        },
        true);
    return pressed;
}

std::optional<host::Credentials> DesktopFrontEnd::AskCredentials(const host::CredentialsQuestion& question) {
    std::optional<host::Credentials> credentials;
    m_main_thread.Run(
        [&] {
            credentials = desktop::AskCredentials(question, m_window);
            return S_OK;
        },
        true);
    return credentials;
}

bool DesktopFrontEnd::CanOpenPages() const {
    return host::HasBrowser();
}

std::unique_ptr<host::SignInNotice> DesktopFrontEnd::OpenPage(const std::string& url) {
    host::OpenInBrowser(url);
    return std::make_unique<Notice>(m_main_thread, url, "", m_window);
}

std::unique_ptr<host::SignInNotice> DesktopFrontEnd::ShowCode(const std::string& page,
                                                              const std::string& code) {
    return std::make_unique<Notice>(m_main_thread, page, code, m_window);
}

void DesktopFrontEnd::RunAfter(std::chrono::milliseconds delay, std::function<void()> work) {
    m_main_thread.Post([this, delay, work = std::move(work)] {
        QTimer::singleShot(delay, &m_main_thread, work);
        return S_OK;
    });
}

HWND DesktopFrontEnd::main_window() const {
    return nullptr;
}

std::unique_ptr<host::Browser> DesktopFrontEnd::MakeBrowser(const host::Profile& profile,
                                                            std::shared_ptr<const host::Cipher> cipher,
                                                            std::function<void(const std::string&)> note) {
    return host::MakeChosenBrowser(m_choices.browser, m_main_thread, profile, std::move(cipher),
                                   std::move(note));
}

std::unique_ptr<host::ProgressDisplay> DesktopFrontEnd::ShowProgress(std::uint64_t total) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_progress.find(std::this_thread::get_id());
    return std::make_unique<Display>(found == m_progress.end() ? std::make_shared<Progress>() : found->second,
                                     total);
}

void DesktopFrontEnd::Warn(const std::string& line) {
    m_main_thread.Run(
        [this, text = ToQt(host::WithoutPasswords(host::PlainLine(line)))] {
            if (m_on_warning) {
                m_on_warning(text);
            } else {
                m_early_warnings.append(text);
            }
            return S_OK;
        },
        false);
}

}  // namespace desktop
