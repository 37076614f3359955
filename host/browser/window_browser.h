// The browser that a person sees: a program of its own shows the pages, and the profile keeps the cookies.
// Main thread only.
#pragma once

#include <functional>

#include "host/base/main_thread.h"
#include "host/browser/browser.h"
#include "host/browser/cookie_store.h"

namespace host {

// The program is looked for when a window is opened; `note` gets a sentence for people where that, or the
// window, ends in a way that nobody asked for. The main thread outlives the browser, and so does the profile.
std::unique_ptr<Browser> MakeWindowBrowser(MainThread& main_thread, fs::path program, CookieStore cookies,
                                           std::function<void(const std::string&)> note);

}  // namespace host
