// The interface between the host and its user interface, a terminal or a window: prompts, sign-in, windows,
// progress, timers, and the main thread's loop. Made on the main thread, used by one host, which it outlives.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/base/main_thread.h"
#include "host/browser/browser.h"
#include "host/browser/windows.h"
#include "host/dialogs/views.h"
#include "host/profile/cipher.h"
#include "host/profile/profile.h"
#include "host/prompts/prompt.h"
#include "host/signin/sign_in_prompts.h"

namespace host {

// The progress of a transfer, shown as long as the object lives.
class ProgressDisplay {
public:
    virtual ~ProgressDisplay() = default;
    virtual void Show(std::uint64_t position) = 0;
};

class FrontEnd : public Prompter, public SignInPrompts {
public:
    virtual MainThread& main_thread() = 0;
    // Runs on the main thread after a delay, or never when the program ends before. Any thread.
    virtual void RunAfter(std::chrono::milliseconds delay, std::function<void()> work) = 0;
    // The windows that plug-ins make.
    virtual Windows& windows() = 0;
    // What shows windows with controls; null where there is nothing to show them.
    virtual DialogViews* dialog_views() { return nullptr; }
    // The parent of a plug-in's windows; null for none.
    virtual HWND main_window() const = 0;
    // The browser of the sign-in pages, null for none. `note` gets a sentence for people where a page can't
    // be shown. The profile outlives the browser. Throws a Failure.
    virtual std::unique_ptr<Browser> MakeBrowser(const Profile& profile, std::shared_ptr<const Cipher> cipher,
                                                 std::function<void(const std::string&)> note) = 0;
    // Shows the progress of a transfer of `total` bytes.
    virtual std::unique_ptr<ProgressDisplay> ShowProgress(std::uint64_t total) = 0;
    // Shows a problem that doesn't stop the work. Any thread.
    virtual void Warn(const std::string& line) = 0;
};

}  // namespace host
