#include "session/browser_cookies.h"

#include <memory>
#include <string_view>

#include "base/text/ignore_case.h"
#include "http/session.h"
#include "platform/com_ptr.h"

namespace {

using Getter = HRESULT (ICoreWebView2Cookie::*)(LPWSTR*);

// Empty when the cookie doesn't say.
std::u16string Get(ICoreWebView2Cookie* cookie, Getter getter) {
    LPWSTR text = nullptr;
    if (FAILED((cookie->*getter)(&text)) || !text) return {};
    const std::unique_ptr<char16_t, void (*)(LPVOID)> owner(text, CoTaskMemFree);
    return text;
}

// Whether a host is the domain or lies below it; a domain may begin with a dot.
bool IsSameOrBelow(std::u16string_view host, std::u16string_view domain) {
    if (host.size() < domain.size()) return false;
    const size_t below = host.size() - domain.size();
    if (!EqualIgnoringCase(host.substr(below), domain)) return false;
    return below == 0 || domain.front() == u'.' || host[below - 1] == u'.';
}

bool IsSecure(ICoreWebView2Cookie* cookie) {
    BOOL secure = FALSE;
    return SUCCEEDED(cookie->get_IsSecure(&secure)) && secure;
}

bool IsOverTls(const std::u16string& url) {
    std::u16string scheme;
    Http::Session::CrackUri(url.c_str(), &scheme, nullptr, nullptr, nullptr, nullptr);
    return scheme == u"https://";
}

}  // namespace

// docs/compatibility.md: A sign-in's cookies know no port
bool CookieMatchesUrl(const std::u16string& url, const std::u16string& domain, const std::u16string& path) {
    std::u16string host;
    std::u16string url_path;
    Http::Session::CrackUri(url.c_str(), nullptr, &host, nullptr, nullptr, &url_path);
    if (!domain.empty() && !IsSameOrBelow(host, domain)) return false;
    return (u"/" + url_path).starts_with(path);
}

bool FindCookie(ICoreWebView2CookieList* cookies, const char16_t* name, const std::u16string& url,
                std::u16string& o_value) {
    UINT count = 0;
    if (!cookies || FAILED(cookies->get_Count(&count))) return false;
    for (UINT index = 0; index < count; ++index) {
        ComPtr<ICoreWebView2Cookie> cookie;
        if (FAILED(cookies->GetValueAtIndex(index, cookie.put())) || !cookie) continue;
        if (Get(cookie.get(), &ICoreWebView2Cookie::get_Name) != name) continue;
        if (!CookieMatchesUrl(url, Get(cookie.get(), &ICoreWebView2Cookie::get_Domain),
                              Get(cookie.get(), &ICoreWebView2Cookie::get_Path)))
            continue;
        if (IsSecure(cookie.get()) && !IsOverTls(url)) continue;
        o_value = Get(cookie.get(), &ICoreWebView2Cookie::get_Value);
        return true;
    }
    return false;
}
