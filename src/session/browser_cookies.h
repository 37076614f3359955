// The browser's cookies as a sign-in reads them. Main thread only.
#pragma once

#include <string>

#include "platform/webview2.h"

// Whether a cookie of `domain` and `path` goes to `url`: the host has to be the domain or lie below it,
// ignoring case, and the path has to begin with the cookie's. Throws ApiException or Exception for a text
// that is no URL.
bool CookieMatchesUrl(const std::u16string& url, const std::u16string& domain, const std::u16string& path);

// The value of the first cookie of exactly this name that goes to `url`, over TLS alone if it is marked so;
// false when there is none. The list may be null.
bool FindCookie(ICoreWebView2CookieList* cookies, const char16_t* name, const std::u16string& url,
                std::u16string& o_value);
