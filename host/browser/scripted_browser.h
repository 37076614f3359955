// A browser that follows a script instead of a person: it shows each page with its cookies, and the next one
// when the queue is empty; after the last page the window is closed. Main thread only.
#pragma once

#include <filesystem>

#include "host/base/main_thread.h"
#include "host/browser/browser.h"

namespace host {

// A JSON object: `pages` is an array of {url, success, cookies: [{name, value, domain, path}]}, all of it
// optional: a page without a URL is the requested one, one without cookies gives no list. With `log`
// the file of that name gets a line of JSON for each call of the browser. Each window runs the whole script.
// Throws a Failure for a script that can't be read.
std::unique_ptr<Browser> LoadScriptedBrowser(MainThread& main_thread, const std::filesystem::path& script);

}  // namespace host
