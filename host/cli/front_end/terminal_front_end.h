// The terminal as a front end of the host: prompts and questions as numbered lines, sign-in pages in the
// window of a program of its own.
#pragma once

#include "host/browser/browser_choice.h"
#include "host/cli/front_end/status_line.h"
#include "host/cli/front_end/terminal.h"
#include "host/core/front_end.h"

namespace cli {

// A line on standard error, without the passwords of the addresses in it.
void ShowError(const std::string& line);

struct TerminalChoices {
    std::string what = {};  // the command, for the status line
    bool shows_progress = false;
    bool adds_place = false;  // a sign-in without a terminal is what the person wants
    host::BrowserChoice browser = {};
};

class TerminalFrontEnd final : public host::FrontEnd {
public:
    // The terminal outlives it.
    explicit TerminalFrontEnd(Terminal& terminal, TerminalChoices choices = {});

    bool CanAsk() const override { return m_terminal.CanAsk(); }
    unsigned Ask(host::Prompt& prompt) override;

    std::optional<host::Credentials> AskCredentials(const host::CredentialsQuestion& question) override;
    bool CanOpenPages() const override;
    std::unique_ptr<host::SignInNotice> OpenPage(const std::string& url) override;
    std::unique_ptr<host::SignInNotice> ShowCode(const std::string& page, const std::string& code) override;

    host::MainThread& main_thread() override { return m_main_thread; }
    void RunAfter(std::chrono::milliseconds delay, std::function<void()> work) override {
        m_main_thread.PostAfter(delay, std::move(work));
    }
    host::Windows& windows() override { return *m_windows; }
    HWND main_window() const override { return nullptr; }
    std::unique_ptr<host::Browser> MakeBrowser(const host::Profile& profile,
                                               std::shared_ptr<const host::Cipher> cipher,
                                               std::function<void(const std::string&)> note) override;
    std::unique_ptr<host::ProgressDisplay> ShowProgress(std::uint64_t total) override;
    void Warn(const std::string& line) override;
    StatusLine& status() { return m_status; }

private:
    std::optional<unsigned> Choose(const std::vector<std::string>& texts, unsigned preset,
                                   const char* question);
    bool AskDetails(host::Prompt& prompt);

    Terminal& m_terminal;
    const TerminalChoices m_choices;
    StatusLine m_status;
    host::WaitingMainThread m_main_thread;
    const std::unique_ptr<host::Windows> m_windows;
};

}  // namespace cli
