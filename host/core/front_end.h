// What differs between a terminal and a window: a front end supplies all that the host asks of a person,
// shows to one, and runs on the main thread. Made on the main thread, used by one host, which it outlives.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/base/main_thread.h"
#include "host/browser/browser.h"
#include "host/browser/windows.h"
#include "host/profile/cipher.h"
#include "host/profile/profile.h"
#include "host/prompts/prompt.h"
#include "host/signin/sign_in_prompts.h"

namespace host {

// How far a transfer has come; it is shown as long as the object lives.
class ProgressDisplay {
public:
    virtual ~ProgressDisplay() = default;
    virtual void Show(std::uint64_t position) = 0;
};

class FrontEnd : public Prompter, public SignInPrompts {
public:
    virtual MainThread& main_thread() = 0;
    // Where plug-ins make their windows.
    virtual Windows& windows() = 0;
    // Above which a plug-in opens its windows; null for none.
    virtual HWND main_window() const = 0;
    // The browser of the sign-in pages, null for none. `note` gets a sentence for people where a page can't
    // be shown. The profile outlives the browser. Throws a Failure.
    virtual std::unique_ptr<Browser> MakeBrowser(const Profile& profile, std::shared_ptr<const Cipher> cipher,
                                                 std::function<void(const std::string&)> note) = 0;
    // Of a transfer of so many bytes.
    virtual std::unique_ptr<ProgressDisplay> ShowProgress(std::uint64_t total) = 0;
    // Shows what went wrong without stopping anything. Any thread.
    virtual void Warn(const std::string& line) = 0;
};

}  // namespace host
