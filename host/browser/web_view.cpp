#include "host/browser/web_view.h"

#include <algorithm>
#include <deque>

#include "host/base/give.h"
#include "platform/webview2.h"

namespace host {

namespace {

HRESULT GiveText(const std::u16string& text, LPWSTR* out_text) {
    if (!out_text) return E_POINTER;
    *out_text = static_cast<LPWSTR>(CoTaskMemAlloc((text.size() + 1) * sizeof(char16_t)));
    if (!*out_text) return E_OUTOFMEMORY;
    std::copy_n(text.c_str(), text.size() + 1, *out_text);
    return S_OK;
}

bool IsWebAddress(std::u16string_view url) {
    const std::u16string_view scheme = url.substr(0, url.find(u"://"));
    return EqualIgnoreCase(scheme, u"http") || EqualIgnoreCase(scheme, u"https");
}

class Cookie final : public Object<ICoreWebView2Cookie> {
public:
    explicit Cookie(BrowserCookie cookie) : m_cookie(std::move(cookie)) {}
    HRESULT get_Name(LPWSTR* out_name) override { return GiveText(m_cookie.name, out_name); }
    HRESULT get_Value(LPWSTR* out_value) override { return GiveText(m_cookie.value, out_value); }
    HRESULT get_Domain(LPWSTR* out_domain) override { return GiveText(m_cookie.domain, out_domain); }
    HRESULT get_Path(LPWSTR* out_path) override { return GiveText(m_cookie.path, out_path); }
    HRESULT get_IsSecure(BOOL* out_secure) override { return GiveValue(out_secure, m_cookie.secure); }

private:
    const BrowserCookie m_cookie;
};

class CookieList final : public Object<ICoreWebView2CookieList> {
public:
    explicit CookieList(std::vector<BrowserCookie> cookies) : m_cookies(std::move(cookies)) {}
    HRESULT get_Count(UINT* out_count) override { return GiveValue(out_count, m_cookies.size()); }
    HRESULT GetValueAtIndex(UINT index, ICoreWebView2Cookie** out_cookie) override {
        if (!out_cookie) return E_POINTER;
        *out_cookie = nullptr;
        if (index >= m_cookies.size()) return E_INVALIDARG;
        return GiveNew<Cookie>(out_cookie, m_cookies[index]);
    }

private:
    const std::vector<BrowserCookie> m_cookies;
};

class NavigationArguments final : public Object<ICoreWebView2NavigationCompletedEventArgs> {
public:
    explicit NavigationArguments(bool success) : m_success(success) {}
    HRESULT get_IsSuccess(BOOL* out_success) override { return GiveValue(out_success, m_success); }

private:
    const bool m_success;
};

// What the control shares with the objects that it hands out, which may outlive it.
struct Shared {
    // E_UNEXPECTED once the control is closed.
    template <class Work>
    HRESULT WithPane(Work&& work) {
        if (!pane) return E_UNEXPECTED;
        return Guarded([&] {
            work(*pane);
            return S_OK;
        });
    }

    std::unique_ptr<BrowserPane> pane;  // null once the control is closed
    std::u16string url;
};

class Settings final : public Object<ICoreWebView2Settings> {
public:
    explicit Settings(std::shared_ptr<Shared> shared) : m_shared(std::move(shared)) {}
    HRESULT put_IsScriptEnabled(BOOL on) override { return Put(BrowserSetting::scripts, on); }
    HRESULT put_IsWebMessageEnabled(BOOL on) override { return Put(BrowserSetting::messages, on); }
    HRESULT put_AreDefaultScriptDialogsEnabled(BOOL on) override {
        return Put(BrowserSetting::script_dialogs, on);
    }
    HRESULT put_IsStatusBarEnabled(BOOL on) override { return Put(BrowserSetting::status_bar, on); }
    HRESULT put_AreDevToolsEnabled(BOOL on) override { return Put(BrowserSetting::developer_tools, on); }
    HRESULT put_AreDefaultContextMenusEnabled(BOOL on) override {
        return Put(BrowserSetting::context_menus, on);
    }

private:
    HRESULT Put(BrowserSetting setting, BOOL on) {
        return m_shared->WithPane([&](BrowserPane& pane) { pane.Set(setting, on != 0); });
    }
    const std::shared_ptr<Shared> m_shared;
};

class CoreWebView final : public Object<ICoreWebView2> {
public:
    explicit CoreWebView(std::shared_ptr<Shared> shared) : m_shared(std::move(shared)) {}
    HRESULT get_Settings(ICoreWebView2Settings** out_settings) override {
        return GiveNew<Settings>(out_settings, m_shared);
    }
    HRESULT get_Source(LPWSTR* out_url) override { return GiveText(m_shared->url, out_url); }
    HRESULT add_NavigationCompleted(ICoreWebView2NavigationCompletedEventHandler* handler,
                                    EventRegistrationToken* out_token) override {
        if (!handler || !out_token) return E_POINTER;
        if (!m_shared->pane) return E_UNEXPECTED;
        return Guarded([&] {
            m_handlers.emplace_back(handler);
            out_token->value = static_cast<LONGLONG>(m_handlers.size());
            return S_OK;
        });
    }

    void NotifyNavigated(bool success) {
        const ComPtr<CoreWebView> alive(this);
        const auto arguments = Make<NavigationArguments>(success);
        const auto handlers = m_handlers;
        for (const auto& handler : handlers) handler->Invoke(this, arguments.get());
    }
    void Close() { std::exchange(m_handlers, {}).clear(); }

private:
    const std::shared_ptr<Shared> m_shared;
    std::vector<ComPtr<ICoreWebView2NavigationCompletedEventHandler>> m_handlers;
};

class WebView final : public Object<TMK::ITMK_WebView>, private BrowserListener {
public:
    WebView(Browser& browser, Windows& windows, HWND parent,
            TMK::ITMK_WebViewInitializationCallback* callback, const std::u16string& cookie_group,
            std::function<void(const std::string&)> note)
        : m_browser(browser),
          m_windows(windows),
          m_parent(parent),
          m_cookie_group(cookie_group),
          m_note(std::move(note)) {
        m_ready = ComPtr<TMK::ITMK_WebViewInitializationCallback>(callback);
        m_shared->pane = browser.Open(*this, cookie_group, parent != nullptr);
    }
    ~WebView() override { Close(); }

    HRESULT Close() override {
        m_shared->pane.reset();
        // The released callbacks may hold this control.
        const auto ready = std::move(m_ready);
        const auto requests = std::exchange(m_cookie_requests, {});
        const auto core = std::move(m_core);
        if (core) core->Close();
        return S_OK;
    }
    HRESULT RequestCookies(TMK::ITMK_WebViewRequestCookiesCallback* callback, DWORD) override {
        if (!callback) return E_INVALIDARG;
        if (!m_shared->pane) return E_UNEXPECTED;
        return Guarded([&] {
            if (const HRESULT result = m_shared->pane->RequestCookies(); FAILED(result)) return result;
            m_cookie_requests.emplace_back(callback);
            return S_OK;
        });
    }
    HRESULT put_Visible(VARIANT_BOOL visible) override {
        return m_shared->WithPane([&](BrowserPane& pane) { pane.SetVisible(visible != VARIANT_FALSE); });
    }
    HRESULT put_Bounds(RECT bounds) override {
        return m_shared->WithPane([&](BrowserPane& pane) { pane.SetBounds(bounds); });
    }
    HRESULT Navigate(LPCWSTR url, DWORD) override {
        if (!url) return E_INVALIDARG;
        if (!m_shared->pane || !m_core) return E_UNEXPECTED;
        return Guarded([&] {
            if (IsWebAddress(url)) return m_shared->pane->Navigate(url);
            m_note(RefusedPage(ToUtf8(FromWide(url))));
            return E_INVALIDARG;
        });
    }
    HRESULT get_WebView2(IUnknown** out_web_view) override {
        if (!out_web_view) return E_POINTER;
        *out_web_view = m_core.copy();
        return S_OK;
    }
    HRESULT DeleteCookies(BSTR url) override {
        if (!url || !m_shared->pane) return E_INVALIDARG;
        return Guarded([&] {
            m_browser.DeleteCookies(m_cookie_group, std::u16string(url, SysStringLen(url)));
            return S_OK;
        });
    }

private:
    // Each keeps the control alive during the call into the plug-in, which may close or release it.
    void OnReady() override {
        const ComPtr<WebView> alive(this);
        m_core = Make<CoreWebView>(m_shared);
        if (const auto ready = std::move(m_ready)) ready->OnInitalized();
    }
    void OnNavigated(const std::u16string& url, bool success) override {
        const ComPtr<WebView> alive(this);
        m_shared->url = url;
        if (const auto core = m_core) core->NotifyNavigated(success);
    }
    void OnCookies(const std::optional<std::vector<BrowserCookie>>& cookies) override {
        if (m_cookie_requests.empty()) return;
        const ComPtr<WebView> alive(this);
        const auto request = std::move(m_cookie_requests.front());
        m_cookie_requests.pop_front();
        if (cookies) {
            request->OnCookiesCompleted(S_OK, Make<CookieList>(*cookies).get());
        } else {
            request->OnCookiesCompleted(E_FAIL, nullptr);
        }
    }
    void OnResized(int width, int height) override {
        const ComPtr<WebView> alive(this);
        m_windows.Resize(m_parent, width, height);
    }
    void OnClosed() override {
        const ComPtr<WebView> alive(this);
        m_windows.Close(m_parent);
    }

    Browser& m_browser;
    Windows& m_windows;
    const HWND m_parent;
    const std::u16string m_cookie_group;
    const std::function<void(const std::string&)> m_note;
    const std::shared_ptr<Shared> m_shared = std::make_shared<Shared>();
    ComPtr<TMK::ITMK_WebViewInitializationCallback> m_ready;
    ComPtr<CoreWebView> m_core;
    std::deque<ComPtr<TMK::ITMK_WebViewRequestCookiesCallback>> m_cookie_requests;
};

}  // namespace

std::string RefusedPage(std::string_view address) {
    return "the sign-in window opens http and https addresses only, and not " + PlainLine(address) +
           "; tell who runs the site";
}

ComPtr<TMK::ITMK_WebView> MakeWebView(Browser& browser, Windows& windows, HWND parent,
                                      TMK::ITMK_WebViewInitializationCallback* callback,
                                      const std::u16string& cookie_group,
                                      std::function<void(const std::string&)> note) {
    return Make<WebView>(browser, windows, parent, callback, cookie_group, std::move(note));
}

}  // namespace host
