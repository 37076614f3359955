// The browser as the host's web view uses it: panes that show pages, and a store of cookies for each group.
// Main thread only; a listener is called later, never from within the call that caused the event.
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
    bool secure = false;  // it goes over TLS alone
};

enum class BrowserSetting { scripts, messages, script_dialogs, status_bar, developer_tools, context_menus };

class BrowserListener {
public:
    virtual ~BrowserListener() = default;
    virtual void OnReady() = 0;
    virtual void OnNavigated(const std::u16string& url, bool success) = 0;
    // Once for each RequestCookies, in their order; nothing when the browser can't list them.
    virtual void OnCookies(const std::optional<std::vector<BrowserCookie>>& cookies) = 0;
    virtual void OnResized(int width, int height) = 0;
    virtual void OnClosed() = 0;  // by the person in front of it
};

// Closed by its destructor; its listener is not called afterwards.
class BrowserPane {
public:
    virtual ~BrowserPane() = default;
    virtual HRESULT Navigate(const std::u16string& url) = 0;
    // The cookies that the page on display would get.
    virtual HRESULT RequestCookies() = 0;
    virtual void SetVisible(bool visible) = 0;
    virtual void SetBounds(const RECT& bounds) = 0;
    virtual void Set(BrowserSetting setting, bool on) = 0;
};

// Says that a page was not opened for the kind of its address.
std::string RefusedPage(std::string_view address);

class Browser {
public:
    virtual ~Browser() = default;
    // Throws a Failure. A pane that is not shown has no page.
    virtual std::unique_ptr<BrowserPane> Open(BrowserListener& listener, const std::u16string& cookie_group,
                                              bool shown) = 0;
    // Deletes the cookies that a host gets; with a leading dot, those of a domain and all hosts below it.
    // Throws a Failure.
    virtual void DeleteCookies(const std::u16string& cookie_group, const std::u16string& host) = 0;
};

}  // namespace host
