// A front end without a person, for tests and measurements: prompts without a scripted answer count as
// closed, and there is no browser. Made on the main thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/browser/pane_windows.h"
#include "host/core/front_end.h"
#include "host/testing/scripted_dialogs.h"

namespace host::testing {

class SilentFrontEnd : public FrontEnd {
public:
    bool CanAsk() const override { return false; }
    unsigned Ask(Prompt& prompt) override { return prompt.cancel_button; }

    std::optional<Credentials> AskCredentials(const CredentialsQuestion&) override { return std::nullopt; }
    bool CanOpenPages() const override { return false; }
    std::unique_ptr<SignInNotice> OpenPage(const std::string&) override {
        return std::make_unique<LastingNotice>();
    }
    std::unique_ptr<SignInNotice> ShowCode(const std::string&, const std::string&) override {
        return std::make_unique<LastingNotice>();
    }

    MainThread& main_thread() override { return m_main_thread; }
    void RunAfter(std::chrono::milliseconds delay, std::function<void()> work) override {
        m_main_thread.PostAfter(delay, std::move(work));
    }
    Windows& windows() override { return *m_windows; }
    DialogViews* dialog_views() override { return &dialogs; }
    HWND main_window() const override { return nullptr; }
    std::unique_ptr<Browser> MakeBrowser(const Profile&, std::shared_ptr<const Cipher>,
                                         std::function<void(const std::string&)>) override {
        return nullptr;
    }
    std::unique_ptr<ProgressDisplay> ShowProgress(std::uint64_t) override {
        return std::make_unique<NoProgress>();
    }
    void Warn(const std::string& line) override {
        if (on_warning) on_warning(line);
    }

    std::function<void(const std::string&)> on_warning;
    ScriptedDialogs dialogs;

protected:
    class LastingNotice final : public SignInNotice {
    public:
        bool IsCanceled() const override { return false; }
    };

private:
    class NoProgress final : public ProgressDisplay {
    public:
        void Show(std::uint64_t) override {}
    };

    WaitingMainThread m_main_thread;
    const std::unique_ptr<Windows> m_windows = MakePaneWindows(m_main_thread);
};

}  // namespace host::testing
