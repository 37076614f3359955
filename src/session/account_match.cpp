#include "session/account_match.h"

#include <array>
#include <string_view>

#include "base/failure.h"
#include "base/text/ignore_case.h"
#include "platform/url.h"

namespace {

using View = std::u16string_view;

bool Equal(View a, View b) {
    return a.size() == b.size() && EqualIgnoringCase(a, b);
}

struct CrackedUrl {
    std::array<char16_t, INTERNET_MAX_URL_LENGTH> text{};
    INTERNET_SCHEME scheme = INTERNET_SCHEME_UNKNOWN;
    View host, user, path;
};

View ToView(const char16_t* data, DWORD length) {
    return data ? View(data, length) : View();
}

// `step` receives what failed.
bool Take(const char16_t* url, CrackedUrl& out, const char16_t*& step) {
    DWORD size = static_cast<DWORD>(out.text.size());
    step = u"canonicalize";
    if (!InternetCanonicalizeUrlW(url, out.text.data(), &size, ICU_BROWSER_MODE | ICU_NO_ENCODE))
        return false;
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof(parts);
    // The query and the fragment are asked for, so that they don't stay with the path.
    parts.dwHostNameLength = parts.dwUserNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = 1;
    step = u"crack";
    if (!InternetCrackUrlW(out.text.data(), 0, 0, &parts)) return false;
    out.scheme = parts.nScheme;
    out.host = ToView(parts.lpszHostName, parts.dwHostNameLength);
    out.user = ToView(parts.lpszUserName, parts.dwUserNameLength);
    out.path = ToView(parts.lpszUrlPath, parts.dwUrlPathLength);
    return true;
}

HRESULT TakeOrLog(const char16_t* url, const char16_t* whose, CrackedUrl& out) {
    TRACE_NAME("MatchAccountUrl");
    const char16_t* step = u"";
    if (Take(url, out, step)) return S_OK;
    const DWORD code = GetLastError();
    LOG_LINE(Log::information, u"Failed to %s %s URL '%s', last error %d", step, whose, MaskForLog(url),
             code);
    return HRESULT_FROM_WIN32(code);
}

bool IsSameOrBelow(View path, View parent) {
    return path.size() >= parent.size() && Equal(path.substr(0, parent.size()), parent) &&
           (path.size() == parent.size() || path[parent.size()] == u'/');
}

}  // namespace

HRESULT MatchAccountUrl(LPCWSTR input, const std::u16string& account_url, const std::u16string& user,
                        bool ignore_path, LONG& result) {
    result = 0;
    if (!input || !*input) return S_OK;
    CrackedUrl asked;
    CrackedUrl account;
    if (const HRESULT failure = TakeOrLog(input, u"input", asked); FAILED(failure)) return failure;
    if (const HRESULT failure = TakeOrLog(account_url.c_str(), u"account", account); FAILED(failure))
        return failure;
    if (!account.path.empty() && account.path.back() == u'/') account.path.remove_suffix(1);
    // docs/compatibility.md: Places match by host
    if (asked.scheme != account.scheme || !Equal(asked.host, account.host)) return S_OK;
    if (!ignore_path && !IsSameOrBelow(asked.path, account.path)) return S_OK;
    result = asked.user.empty() ? 1 : Equal(asked.user, user) ? 2 : 0;
    return S_OK;
}
