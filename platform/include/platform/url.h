// URL functions of the internet layer: canonical form and components.
// They allocate nothing, keep no state, and may be called from any thread.
#pragma once

#include "platform/base.h"

using INTERNET_PORT = WORD;

inline constexpr DWORD INTERNET_MAX_URL_LENGTH = 2084;
inline constexpr INTERNET_PORT INTERNET_DEFAULT_FTP_PORT = 21;
inline constexpr INTERNET_PORT INTERNET_DEFAULT_HTTP_PORT = 80;
inline constexpr INTERNET_PORT INTERNET_DEFAULT_HTTPS_PORT = 443;

inline constexpr DWORD ERROR_INTERNET_INVALID_URL = 12005;
inline constexpr DWORD ERROR_INTERNET_UNRECOGNIZED_SCHEME = 12006;

inline constexpr DWORD ICU_BROWSER_MODE = 0x02000000;
inline constexpr DWORD ICU_DECODE = 0x10000000;
inline constexpr DWORD ICU_NO_ENCODE = 0x20000000;

enum INTERNET_SCHEME : int {
    INTERNET_SCHEME_PARTIAL = -2,
    INTERNET_SCHEME_UNKNOWN = -1,
    INTERNET_SCHEME_DEFAULT = 0,
    INTERNET_SCHEME_FTP = 1,
    INTERNET_SCHEME_GOPHER = 2,
    INTERNET_SCHEME_HTTP = 3,
    INTERNET_SCHEME_HTTPS = 4,
    INTERNET_SCHEME_FILE = 5,
    INTERNET_SCHEME_NEWS = 6,
    INTERNET_SCHEME_MAILTO = 7,
    INTERNET_SCHEME_SOCKS = 8,
    INTERNET_SCHEME_JAVASCRIPT = 9,
    INTERNET_SCHEME_VBSCRIPT = 10,
    INTERNET_SCHEME_RES = 11,
};

struct URL_COMPONENTSW {
    DWORD dwStructSize;
    LPWSTR lpszScheme;
    DWORD dwSchemeLength;
    INTERNET_SCHEME nScheme;
    LPWSTR lpszHostName;
    DWORD dwHostNameLength;
    INTERNET_PORT nPort;
    LPWSTR lpszUserName;
    DWORD dwUserNameLength;
    LPWSTR lpszPassword;
    DWORD dwPasswordLength;
    LPWSTR lpszUrlPath;
    DWORD dwUrlPathLength;
    LPWSTR lpszExtraInfo;
    DWORD dwExtraInfoLength;
};
static_assert(sizeof(URL_COMPONENTSW) == 104 && offsetof(URL_COMPONENTSW, nScheme) == 20 &&
              offsetof(URL_COMPONENTSW, nPort) == 36 && offsetof(URL_COMPONENTSW, lpszExtraInfo) == 88);

extern "C" {

// `length` is the buffer's size in units going in and the text's length (without the zero) coming out; with
// ERROR_INSUFFICIENT_BUFFER it is the size needed. ERROR_INTERNET_INVALID_URL, ERROR_INVALID_PARAMETER.
BOOL InternetCanonicalizeUrlW(LPCWSTR url, LPWSTR buffer, DWORD* length, DWORD flags);

// A component with a null pointer and a length not 0 comes out pointing into the URL; with a buffer it is
// copied there. A length of 0 leaves the URL's end to be found. ERROR_INTERNET_UNRECOGNIZED_SCHEME and as
// above.
BOOL InternetCrackUrlW(LPCWSTR url, DWORD length, DWORD flags, URL_COMPONENTSW* components);

}  // extern "C"
