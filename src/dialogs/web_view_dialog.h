// The browser window of a sign-in: one control, which reports each page and gives the browser's cookies on
// demand. Main thread only.
#pragma once

#include <functional>
#include <string>

#include "base/ui_object.h"
#include "hostapi/itmk.h"
#include "platform/webview2.h"

namespace TMK {

class WebViewDlg final : public uiCoObjImplT<WebViewDlg>,
                         public ITMK_WebViewInitializationCallback,
                         public ITMK_WebViewRequestCookiesCallback,
                         public ICoreWebView2NavigationCompletedEventHandler {
    using Base = uiCoObjImplT<WebViewDlg>;

public:
    using OnNavigated = std::function<HRESULT(const char16_t* url)>;
    // `cookies` may be null; `done` ends the window, well unless the result is a failure.
    using OnCookies =
        std::function<HRESULT(const char16_t* url, ICoreWebView2CookieList* cookies, bool& done)>;

    explicit WebViewDlg(ITMK_Inst* instance) : m_pVInst(instance) {}

    void Initialize();
    // Shows the window on a page until `on_cookies` is done, `on_navigated` fails or the user closes it. The
    // last two are E_CANCELED. Once for each object.
    HRESULT DoModal(LPCWSTR pzsURL, OnNavigated on_navigated, OnCookies on_cookies);
    // Deletes the cookies of a host in a group's store, without any window.
    HRESULT DeleteCookies(LPCWSTR pzsGroupName, LPCWSTR pzsURL, HWND nWndHandle);

    // For the callbacks of DoModal: asks for the cookies of the page that is shown, and hides the page.
    HRESULT RequestCookies();
    void HidePage();

    HRESULT QueryInterface(REFIID iid, void** out) override { return Base::QueryInterface(iid, out); }
    ULONG AddRef() override { return Base::AddRef(); }
    ULONG Release() override { return Base::Release(); }
    void* QueryFurther(const IID& iid);

    HRESULT OnInitalized() override;
    HRESULT OnCookiesCompleted(HRESULT result, IUnknown* cookie_list) override;
    HRESULT Invoke(ICoreWebView2* sender, ICoreWebView2NavigationCompletedEventArgs* args) override;
    HRESULT HandleEvent(UIX_Event& event);

    std::u16string m_sCookiesGroupName;

private:
    HRESULT RunWindow();
    HRESULT PrepareBrowser();
    ComPtr<ICoreWebView2> GetBrowser() const;
    void OnInitDialog();
    void OnSize();
    void OnBeforeDestroy();
    void OnComplete();
    void End(LONGLONG code);

    ComPtr<ITMK_Inst> m_pVInst;
    std::u16string m_sURL;
    OnNavigated m_navigated;
    OnCookies m_cookies;
    ComPtr<ITMK_WebView> m_pWebView;
    int32_t m_result = 0;
    bool m_closing = false;
    bool m_ended = false;
};

}  // namespace TMK
