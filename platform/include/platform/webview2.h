// The browser control's own interfaces, as far as they are called. Strings that they give out are freed with
// CoTaskMemFree. Main thread only.
#pragma once

#include "platform/com.h"

struct EventRegistrationToken {
    LONGLONG value;
};

struct ICoreWebView2Settings : IUnknown {
    static constexpr IID kIid{0x44660F0E, 0x0160, 0x4F2E, {0x93, 0x2C, 0x13, 0xE4, 0x16, 0x2E, 0x37, 0xF6}};
    virtual HRESULT put_IsScriptEnabled(BOOL enabled) = 0;
    virtual HRESULT put_IsWebMessageEnabled(BOOL enabled) = 0;
    virtual HRESULT put_AreDefaultScriptDialogsEnabled(BOOL enabled) = 0;
    virtual HRESULT put_IsStatusBarEnabled(BOOL enabled) = 0;
    virtual HRESULT put_AreDevToolsEnabled(BOOL enabled) = 0;
    virtual HRESULT put_AreDefaultContextMenusEnabled(BOOL enabled) = 0;
};

struct ICoreWebView2NavigationCompletedEventArgs : IUnknown {
    static constexpr IID kIid{0xABB2BC8A, 0x660A, 0x4E7F, {0xAD, 0x15, 0xBB, 0x18, 0x49, 0xBB, 0x2E, 0xDA}};
    virtual HRESULT get_IsSuccess(BOOL* out_success) = 0;
};

struct ICoreWebView2;
struct ICoreWebView2NavigationCompletedEventHandler : IUnknown {
    static constexpr IID kIid{0x205FD2ED, 0x7262, 0x43C6, {0x8D, 0xBA, 0x1C, 0xFB, 0x0C, 0x32, 0x48, 0x97}};
    virtual HRESULT Invoke(ICoreWebView2* sender, ICoreWebView2NavigationCompletedEventArgs* args) = 0;
};

struct ICoreWebView2 : IUnknown {
    static constexpr IID kIid{0x45F67441, 0x1FA5, 0x4E7A, {0x8E, 0xA5, 0x96, 0xC6, 0xE4, 0x33, 0x48, 0xB4}};
    virtual HRESULT get_Settings(ICoreWebView2Settings** out_settings) = 0;
    virtual HRESULT get_Source(LPWSTR* out_url) = 0;  // of the page that is shown
    virtual HRESULT add_NavigationCompleted(ICoreWebView2NavigationCompletedEventHandler* handler,
                                            EventRegistrationToken* out_token) = 0;
};

struct ICoreWebView2Cookie : IUnknown {
    static constexpr IID kIid{0x7C250CD1, 0x143F, 0x434E, {0x85, 0x97, 0x58, 0x97, 0xFF, 0xBE, 0xBC, 0x05}};
    virtual HRESULT get_Name(LPWSTR* out_name) = 0;
    virtual HRESULT get_Value(LPWSTR* out_value) = 0;
    virtual HRESULT get_Domain(LPWSTR* out_domain) = 0;
    virtual HRESULT get_Path(LPWSTR* out_path) = 0;
    virtual HRESULT get_IsSecure(BOOL* out_secure) = 0;  // it goes over TLS alone
};

struct ICoreWebView2CookieList : IUnknown {
    static constexpr IID kIid{0x591468D9, 0x9A90, 0x44C2, {0xA6, 0xBA, 0x92, 0xB4, 0xB9, 0x05, 0xE0, 0xE4}};
    virtual HRESULT get_Count(UINT* out_count) = 0;
    virtual HRESULT GetValueAtIndex(UINT index, ICoreWebView2Cookie** out_cookie) = 0;
};
