// What the host's web view needs of a browser, whichever it is: panes that show pages, and a store of cookies
// for each group. Main thread only; a listener is never called out of the call that asked.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hostapi/common.h"

namespace host {

struct BrowserCookie {
    std::u16string name;
    std::u16string value;
    std::u16string domain;  // with a leading dot for all hosts below it
    std::u16string path = u"/";
};

enum class BrowserSetting { scripts, messages, script_dialogs, status_bar, developer_tools, context_menus };

class BrowserListener {
public:
    virtual ~BrowserListener() = default;
    virtual void OnReady() = 0;
    virtual void OnNavigated(const std::u16string& url, bool success) = 0;
    // One for each RequestCookies, in their order; nothing when the browser can't say.
    virtual void OnCookies(const std::optional<std::vector<BrowserCookie>>& cookies) = 0;
    virtual void OnResized(int width, int height) = 0;
    virtual void OnClosed() = 0;  // by the person in front of it
};

// Ends with its object; its listener hears nothing afterwards.
class BrowserPane {
public:
    virtual ~BrowserPane() = default;
    virtual HRESULT Navigate(const std::u16string& url) = 0;
    // The cookies that the page which is shown now would get.
    virtual HRESULT RequestCookies() = 0;
    virtual void SetVisible(bool visible) = 0;
    virtual void SetBounds(const RECT& bounds) = 0;
    virtual void Set(BrowserSetting setting, bool on) = 0;
};

class Browser {
public:
    virtual ~Browser() = default;
    // Throws a Failure. A pane that is not shown has no page.
    virtual std::unique_ptr<BrowserPane> Open(BrowserListener& listener, const std::u16string& cookie_group,
                                              bool shown) = 0;
    // Of a host, with those of domains above that go to it, too; or, with a leading dot, of a domain and all
    // below it. Throws a Failure.
    virtual void DeleteCookies(const std::u16string& cookie_group, const std::u16string& host) = 0;
};

}  // namespace host
