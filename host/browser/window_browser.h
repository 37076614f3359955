// The browser that a person sees: a separate program shows the pages, and the profile keeps the cookies.
// Main thread only.
#pragma once

#include <functional>

#include "host/base/main_thread.h"
#include "host/browser/browser.h"
#include "host/browser/cookie_store.h"

namespace host {

// The program is started when a pane is opened; `note` gets a sentence for people when it can't be started or
// its window ends unexpectedly. The main thread and the profile outlive the browser.
std::unique_ptr<Browser> MakeWindowBrowser(MainThread& main_thread, fs::path program, CookieStore cookies,
                                           std::function<void(const std::string&)> note);

}  // namespace host
