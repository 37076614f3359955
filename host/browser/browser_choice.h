// Which browser shows the pages of a sign-in: the program of people, or a script for tests. Main thread only.
#pragma once

#include "host/browser/window_browser.h"

namespace host {

struct BrowserChoice {
    fs::path script;   // stands in for the browser; empty for none
    fs::path program;  // what shows the pages; empty for no browser at all
};

// Null for none. As FrontEnd::MakeBrowser otherwise.
std::unique_ptr<Browser> MakeChosenBrowser(const BrowserChoice& choice, MainThread& main_thread,
                                           const Profile& profile, std::shared_ptr<const Cipher> cipher,
                                           std::function<void(const std::string&)> note);

}  // namespace host
