// A host for tests whose browser follows a script: each page brings its
// cookies, and the person behind it goes on to the next page or, after the last
// one, closes the window. Main thread.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/scaffolding.h"
#include "host/browser/without_controls.h"
#include "hostapi/itmk.h"
#include "platform/webview2.h"
#include "tests/support/plugin/forwarding_host.h"

struct ScriptedCookie {
    std::u16string name;
    std::u16string value;
    std::u16string domain;
    std::u16string path = u"/";
    bool secure = false;
};

struct ScriptedPage {
    std::u16string url;
    std::optional<std::vector<ScriptedCookie>> cookies;  // none: the browser gives no list
    bool success = true;
};

// What the test lays down before, and finds afterwards.
struct BrowserScript {
    std::vector<ScriptedPage> pages;
    HRESULT create_object = S_OK;
    bool gives_object = true;
    HRESULT create_web_view = S_OK;
    HRESULT request_cookies = S_OK;
    bool has_settings = true;
    std::optional<LONGLONG> ends_with;   // instead of closing the window after the last page
    std::function<void()> before_ready;  // while the window waits for its control

    std::string template_text;
    std::u16string template_id;
    DWORD style = 0;
    std::u16string cookie_group;
    HWND parent = nullptr;
    std::u16string first_url;
    std::vector<std::string> settings;  // "name=0"
    std::vector<RECT> bounds;
    bool visible = true;
    size_t shown_pages = 0;
    size_t cookie_requests = 0;
    std::vector<std::u16string> deleted;
    std::vector<DWORD> handled_events;
    std::vector<std::string> life;  // "closed", "destroyed", "browser gone"
    TMK::IUIX_ObjImpl* window_impl = nullptr;
    TMK::IUIX_Obj* window = nullptr;
    std::deque<std::function<void()>> queue;
};

namespace scripted {

inline HRESULT GiveText(const std::u16string& text, LPWSTR* out) {
    const size_t size = (text.size() + 1) * sizeof(char16_t);
    *out = static_cast<LPWSTR>(CoTaskMemAlloc(size));
    std::char_traits<char16_t>::copy(*out, text.c_str(), text.size() + 1);
    return S_OK;
}

class Cookie final : public cCoClassUnknownT<Cookie, ICoreWebView2Cookie> {
public:
    explicit Cookie(ScriptedCookie cookie) : m_cookie(std::move(cookie)) {}
    HRESULT get_Name(LPWSTR* out) override { return GiveText(m_cookie.name, out); }
    HRESULT get_Value(LPWSTR* out) override { return GiveText(m_cookie.value, out); }
    HRESULT get_Domain(LPWSTR* out) override { return GiveText(m_cookie.domain, out); }
    HRESULT get_Path(LPWSTR* out) override { return GiveText(m_cookie.path, out); }
    HRESULT get_IsSecure(BOOL* out) override { return *out = m_cookie.secure, S_OK; }

private:
    ScriptedCookie m_cookie;
};

class CookieList final : public cCoClassUnknownT<CookieList, ICoreWebView2CookieList> {
public:
    explicit CookieList(std::vector<ScriptedCookie> cookies) : m_cookies(std::move(cookies)) {}
    HRESULT get_Count(UINT* out) override {
        *out = static_cast<UINT>(m_cookies.size());
        return S_OK;
    }
    HRESULT GetValueAtIndex(UINT index, ICoreWebView2Cookie** out) override {
        *out = MakeObject<Cookie>(m_cookies.at(index)).detach();
        return S_OK;
    }

private:
    std::vector<ScriptedCookie> m_cookies;
};

class Settings final : public cCoClassUnknownT<Settings, ICoreWebView2Settings> {
public:
    explicit Settings(BrowserScript& script) : m_script(script) {}
    HRESULT put_IsScriptEnabled(BOOL on) override { return Note("scripts", on); }
    HRESULT put_IsWebMessageEnabled(BOOL on) override { return Note("messages", on); }
    HRESULT put_AreDefaultScriptDialogsEnabled(BOOL on) override { return Note("dialogs", on); }
    HRESULT put_IsStatusBarEnabled(BOOL on) override { return Note("status", on); }
    HRESULT put_AreDevToolsEnabled(BOOL on) override { return Note("tools", on); }
    HRESULT put_AreDefaultContextMenusEnabled(BOOL on) override { return Note("menus", on); }

private:
    HRESULT Note(const char* name, BOOL on) {
        m_script.settings.push_back(name + std::string(on ? "=1" : "=0"));
        return S_OK;
    }
    BrowserScript& m_script;
};

class Arguments final : public cCoClassUnknownT<Arguments, ICoreWebView2NavigationCompletedEventArgs> {
public:
    explicit Arguments(bool success) : m_success(success) {}
    HRESULT get_IsSuccess(BOOL* out) override { return *out = m_success, S_OK; }

private:
    bool m_success;
};

class Browser final : public cCoClassUnknownT<Browser, ICoreWebView2> {
public:
    explicit Browser(BrowserScript& script) : m_script(script) {}
    HRESULT get_Settings(ICoreWebView2Settings** out) override {
        *out = m_script.has_settings ? MakeObject<Settings>(m_script).detach() : nullptr;
        return m_script.has_settings ? S_OK : E_FAIL;
    }
    HRESULT get_Source(LPWSTR* out) override { return GiveText(Page().url, out); }
    HRESULT
    add_NavigationCompleted(ICoreWebView2NavigationCompletedEventHandler* handler,
                            EventRegistrationToken*) override {
        m_handler = ComPtr(handler);
        return S_OK;
    }

    const ScriptedPage& Page() const { return m_script.pages.at(m_script.shown_pages - 1); }
    bool ShowNext() {
        if (m_script.shown_pages >= m_script.pages.size() || !m_handler) return false;
        ++m_script.shown_pages;
        m_handler->Invoke(this, MakeObject<Arguments>(Page().success).get());
        return true;
    }
    void Close() { m_handler.reset(); }

private:
    BrowserScript& m_script;
    ComPtr<ICoreWebView2NavigationCompletedEventHandler> m_handler;
};

class WebView final : public cCoClassUnknownT<WebView, TMK::ITMK_WebView> {
public:
    explicit WebView(BrowserScript& script)
        : m_script(script), m_browser(MakeObject<scripted::Browser>(script)) {}
    ~WebView() override { m_script.life.push_back("browser gone"); }

    HRESULT Close() override {
        m_browser->Close();
        m_script.life.push_back("closed");
        return S_OK;
    }
    HRESULT RequestCookies(TMK::ITMK_WebViewRequestCookiesCallback* callback, DWORD) override {
        ++m_script.cookie_requests;
        if (FAILED(m_script.request_cookies)) return m_script.request_cookies;
        m_script.queue.push_back([held = ComPtr(callback), cookies = m_browser->Page().cookies] {
            if (!cookies) {
                held->OnCookiesCompleted(E_FAIL, nullptr);
            } else {
                held->OnCookiesCompleted(S_OK, MakeObject<CookieList>(*cookies).get());
            }
        });
        return S_OK;
    }
    HRESULT put_Visible(VARIANT_BOOL visible) override {
        m_script.visible = visible != VARIANT_FALSE;
        return S_OK;
    }
    HRESULT put_Bounds(RECT bounds) override {
        m_script.bounds.push_back(bounds);
        return S_OK;
    }
    HRESULT Navigate(LPCWSTR url, DWORD) override {
        m_script.first_url = url;
        m_script.queue.push_back([browser = m_browser] { browser->ShowNext(); });
        return S_OK;
    }
    HRESULT get_WebView2(IUnknown** out) override { return ComPtr<IUnknown>(m_browser).CopyTo(out); }
    HRESULT DeleteCookies(BSTR url) override {
        m_script.deleted.emplace_back(url, SysStringLen(url));
        return S_OK;
    }
    bool ShowNext() { return m_browser->ShowNext(); }

private:
    BrowserScript& m_script;
    ComPtr<scripted::Browser> m_browser;
};

class Window final : public host::WithoutControls<cCoClassUnknownT<Window, TMK::IUIX_Obj>> {
public:
    explicit Window(BrowserScript& script) : m_script(script) { script.window = this; }
    ~Window() override { m_script.window = nullptr; }

    HRESULT get_WndHandle(HWND* out) override { return GetFirstHWND(out); }
    HRESULT GetFirstHWND(HWND* out) override {
        *out = this;
        return S_OK;
    }
    HRESULT GetClientRect(RECT* out) override {
        *out = {0, 0, m_width, 500};
        return S_OK;
    }
    HRESULT get_Parent(TMK::IUIX_Obj**) override { return S_FALSE; }
    HRESULT GetRect(RECT* out) override { return GetClientRect(out); }
    HRESULT SetStyle(DWORD, DWORD) override { return S_OK; }
    HRESULT DoModal(DWORD, LONGLONG* in_out_result) override {
        if (const HRESULT result = Send(TMK::UIX_Event_InitDialog); FAILED(result)) return result;
        while (!m_end) {
            if (!m_script.queue.empty()) {
                const auto next = std::move(m_script.queue.front());
                m_script.queue.pop_front();
                next();
            } else if (!on_idle || !on_idle()) {
                m_end = m_script.ends_with.value_or(0);
            }
        }
        // What was posted before the end still arrives.
        for (; !m_script.queue.empty(); m_script.queue.pop_front()) m_script.queue.front()();
        *in_out_result = *m_end;
        return S_OK;
    }
    HRESULT EndModal(LONGLONG result) override {
        if (m_end) return S_FALSE;
        m_end = result;
        return S_OK;
    }
    HRESULT Destroy() override {
        Send(TMK::UIX_Event_BeforeDestroy);
        m_script.life.push_back("destroyed");
        m_script.queue.clear();
        on_idle = nullptr;
        if (const auto impl = ComPtr(m_script.window_impl)) impl->put_Obj(nullptr);
        return S_OK;
    }

    void Resize(LONG width) {
        m_width = width;
        Send(TMK::UIX_Event_Size);
    }
    HRESULT Send(DWORD code) {
        TMK::UIX_Event event{};
        event.nCode = code;
        const HRESULT result = m_script.window_impl->OnEvent(&event);
        if (event.bHandled != VARIANT_FALSE) m_script.handled_events.push_back(code);
        return result;
    }
    std::function<bool()> on_idle;  // false: there is nothing left to do

private:
    BrowserScript& m_script;
    LONG m_width = 500;
    std::optional<LONGLONG> m_end;
};

class UserInterface final : public cCoClassUnknownT<UserInterface, TMK::IUIX_Inst> {
public:
    explicit UserInterface(BrowserScript& script) : m_script(script) {}
    HRESULT CreateMultiSizeIcon(TMK::IUIX_MultiSizeIcon**) override { return E_NOTIMPL; }
    HRESULT CreateImage(IStream*, TMK::IUIX_Image**) override { return E_NOTIMPL; }
    HRESULT CreateObj(const TMK::UIX_CreateObjParams* parameters, TMK::IUIX_Obj**) override {
        m_script.template_text.assign(static_cast<const char*>(parameters->pTemplate),
                                      parameters->nTemplateSize);
        m_script.template_id = parameters->szTemplateId;
        m_script.style = parameters->nStyle;
        if (FAILED(m_script.create_object) || !m_script.gives_object) return m_script.create_object;
        m_script.window_impl = parameters->pImpl;
        return parameters->pImpl->put_Obj(MakeObject<Window>(m_script).get());
    }
    HRESULT get_CmdManager(TMK::IUIX_CmdManager**) override { return E_NOTIMPL; }
    HRESULT get_ImageExt(TMK::IRGC_Inst**) override { return E_NOTIMPL; }
    HRESULT get_Theme(TMK::IUIX_Theme**) override { return E_NOTIMPL; }
    HRESULT CreateCmdBar(TMK::IUIX_Obj*, const RECT*, LPCWSTR, LPCWSTR, DWORD, TMK::IUIX_CmdBar**) override {
        return E_NOTIMPL;
    }
    HRESULT GetIcon(BSTR, TMK::IUIX_Icon**) override { return E_NOTIMPL; }
    HRESULT CreateFileTypeIcon(LPWSTR, DWORD, TMK::IUIX_Icon**) override { return E_NOTIMPL; }

private:
    BrowserScript& m_script;
};

}  // namespace scripted

// Everything but the windows, the browser and the main thread goes to another
// host, if there is one.
class ScriptedHost final : public testing_support::ForwardingHost {
public:
    explicit ScriptedHost(BrowserScript& script, TMK::ITMK_Inst* base = nullptr)
        : ForwardingHost(base), m_script(script) {}

    HRESULT GetExtension(LPCWSTR id, IUnknown** out) override {
        if (std::u16string_view(id) != u"UIX") return ForwardingHost::GetExtension(id, out);
        *out = MakeObject<scripted::UserInterface>(m_script).detach();
        return S_OK;
    }
    HRESULT CreateWebView(HWND parent, TMK::ITMK_WebViewInitializationCallback* callback, BSTR group,
                          TMK::ITMK_WebView** out) override {
        *out = nullptr;
        m_script.parent = parent;
        m_script.cookie_group.assign(group, SysStringLen(group));
        if (FAILED(m_script.create_web_view)) return m_script.create_web_view;
        const auto view = MakeObject<scripted::WebView>(m_script);
        if (parent) {
            auto* window = static_cast<scripted::Window*>(m_script.window);
            window->on_idle = [view] { return view->ShowNext(); };
            m_script.queue.push_back([this, held = ComPtr(callback)] {
                if (m_script.before_ready) m_script.before_ready();
                held->OnInitalized();
            });
        }
        *out = view.copy();
        return S_OK;
    }
    HRESULT RunOnMainThread(TMK::ITMK_ThreadSafeCallback* callback, DWORD, VARIANT_BOOL) override {
        return callback->Call();
    }

    HRESULT DoOAuth(HWND parent, TMK::ITMK_CabNode* parameters) override {
        return on_oauth ? on_oauth(parameters) : ForwardingHost::DoOAuth(parent, parameters);
    }

    std::function<HRESULT(TMK::ITMK_CabNode* parameters)> on_oauth;

private:
    BrowserScript& m_script;
};
