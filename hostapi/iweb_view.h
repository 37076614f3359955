// The host's browser control, for sign-in pages. Main thread only; callbacks come on the main thread too,
// never out of the call that asked for them.
#pragma once

#include "hostapi/common.h"

namespace TMK {

struct ITMK_WebViewInitializationCallback : IUnknown {
    static constexpr IID kIid{0x5517513B, 0x35B4, 0x4BC9, {0x90, 0xAA, 0xD5, 0xDD, 0x88, 0xC1, 0x7B, 0x71}};
    virtual HRESULT OnInitalized() = 0;  // the control is ready; its result is not looked at
};

struct ITMK_WebViewRequestCookiesCallback : IUnknown {
    static constexpr IID kIid{0x42446991, 0x59D1, 0x4ACE, {0x9D, 0x0D, 0x5D, 0x76, 0x0F, 0x26, 0x41, 0xAA}};
    // The cookies that the current page's address gets, as an ICoreWebView2CookieList; null on failure.
    virtual HRESULT OnCookiesCompleted(HRESULT result, IUnknown* cookie_list) = 0;
};

// A control in a window, or with none to show. All controls of one cookie group share one store of cookies.
struct ITMK_WebView : IUnknown {
    static constexpr IID kIid{0x904D60B9, 0x493C, 0x4708, {0xB3, 0xF0, 0xE3, 0x23, 0x8F, 0xBE, 0x0D, 0xC8}};
    virtual HRESULT Close() = 0;  // ends the control: no callback comes after it
    virtual HRESULT RequestCookies(ITMK_WebViewRequestCookiesCallback* callback, DWORD reserved) = 0;
    virtual HRESULT put_Visible(VARIANT_BOOL visible) = 0;
    virtual HRESULT put_Bounds(RECT bounds) = 0;  // in the window's client area
    virtual HRESULT Navigate(LPCWSTR url, DWORD reserved) = 0;
    virtual HRESULT get_WebView2(IUnknown** out_web_view) = 0;  // an ICoreWebView2, null before it is ready
    // Deletes what the store keeps for a host or, with a leading dot, for a domain and all below it.
    virtual HRESULT DeleteCookies(BSTR url) = 0;
};

}  // namespace TMK
