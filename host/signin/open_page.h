// The browser of the desktop that a terminal runs on. Any thread.
#pragma once

#include <string>

namespace host {

// Whether there is likely a browser on this screen.
bool HasBrowser();

// Starts $BROWSER or the desktop's own choice, and doesn't wait for it.
void OpenInBrowser(const std::string& url);

}  // namespace host
