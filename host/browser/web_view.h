// The browser control that plug-ins get, over whichever browser the host has. Main thread only.
#pragma once

#include <functional>
#include <string>

#include "host/browser/browser.h"
#include "host/browser/windows.h"
#include "hostapi/iweb_view.h"

namespace host {

// In the window of that handle, or in none to show nothing. `callback` is called when the control is
// ready, unless that is closed or released before. `note` gets a line for an address that is refused. Throws
// a Failure when the browser can't be opened. The browser and the windows outlive it.
ComPtr<TMK::ITMK_WebView> MakeWebView(Browser& browser, Windows& windows, HWND parent,
                                      TMK::ITMK_WebViewInitializationCallback* callback,
                                      const std::u16string& cookie_group,
                                      std::function<void(const std::string&)> note);

}  // namespace host
