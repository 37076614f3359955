// The internet layer: sessions, connections, requests and answers, all synchronous. Any thread may use any
// handle; a request serves one thread at a time, and closing it from another ends its calls. A closed handle
// gives ERROR_INVALID_HANDLE. PLATFORM_CONNECT_TIMEOUT_MS and PLATFORM_RECEIVE_TIMEOUT_MS lower the limits.
#pragma once

#include "platform/base.h"
#include "platform/url.h"

using HINTERNET = void*;

inline constexpr DWORD INTERNET_OPEN_TYPE_PRECONFIG = 0;
inline constexpr DWORD INTERNET_SERVICE_HTTP = 3;

inline constexpr DWORD INTERNET_FLAG_SECURE = 0x00800000;
inline constexpr DWORD INTERNET_FLAG_KEEP_CONNECTION = 0x00400000;
inline constexpr DWORD INTERNET_FLAG_NO_COOKIES = 0x00080000;

inline constexpr DWORD INTERNET_OPTION_CONNECT_TIMEOUT = 2;
inline constexpr DWORD INTERNET_OPTION_USERNAME = 28;
inline constexpr DWORD INTERNET_OPTION_PASSWORD = 29;
inline constexpr DWORD INTERNET_OPTION_URL = 34;
inline constexpr DWORD INTERNET_OPTION_END_BROWSER_SESSION = 42;
inline constexpr DWORD INTERNET_OPTION_PROXY_USERNAME = 43;
inline constexpr DWORD INTERNET_OPTION_PROXY_PASSWORD = 44;

inline constexpr DWORD HTTP_ADDREQ_FLAG_ADD = 0x20000000;
inline constexpr DWORD HTTP_ADDREQ_FLAG_REPLACE = 0x80000000;

inline constexpr DWORD HTTP_QUERY_STATUS_CODE = 19;
inline constexpr DWORD HTTP_QUERY_STATUS_TEXT = 20;
inline constexpr DWORD HTTP_QUERY_RAW_HEADERS = 21;
inline constexpr DWORD HTTP_QUERY_CUSTOM = 65535;
inline constexpr DWORD HTTP_QUERY_FLAG_NUMBER = 0x20000000;

inline constexpr DWORD INTERNET_COOKIE_HTTPONLY = 0x00002000;

inline constexpr DWORD ERROR_INTERNET_TIMEOUT = 12002;
inline constexpr DWORD ERROR_INTERNET_EXTENDED_ERROR = 12003;
inline constexpr DWORD ERROR_INTERNET_INTERNAL_ERROR = 12004;
inline constexpr DWORD ERROR_INTERNET_NAME_NOT_RESOLVED = 12007;
inline constexpr DWORD ERROR_INTERNET_INVALID_OPTION = 12009;
inline constexpr DWORD ERROR_INTERNET_OPERATION_CANCELLED = 12017;
inline constexpr DWORD ERROR_INTERNET_INCORRECT_HANDLE_TYPE = 12018;
inline constexpr DWORD ERROR_INTERNET_INCORRECT_HANDLE_STATE = 12019;
inline constexpr DWORD ERROR_INTERNET_CANNOT_CONNECT = 12029;
inline constexpr DWORD ERROR_INTERNET_CONNECTION_ABORTED = 12030;
inline constexpr DWORD ERROR_INTERNET_CONNECTION_RESET = 12031;
inline constexpr DWORD ERROR_INTERNET_FORCE_RETRY = 12032;
inline constexpr DWORD ERROR_INTERNET_SEC_CERT_CN_INVALID = 12038;
inline constexpr DWORD ERROR_INTERNET_HTTPS_TO_HTTP_ON_REDIR = 12040;
inline constexpr DWORD ERROR_INTERNET_CLIENT_AUTH_CERT_NEEDED = 12044;
inline constexpr DWORD ERROR_INTERNET_INVALID_CA = 12045;
inline constexpr DWORD ERROR_HTTP_HEADER_NOT_FOUND = 12150;
inline constexpr DWORD ERROR_HTTP_INVALID_SERVER_RESPONSE = 12152;
inline constexpr DWORD ERROR_HTTP_INVALID_HEADER = 12153;
inline constexpr DWORD ERROR_HTTP_REDIRECT_FAILED = 12156;
inline constexpr DWORD ERROR_INTERNET_SECURITY_CHANNEL_ERROR = 12157;
inline constexpr DWORD ERROR_INTERNET_DECODING_FAILED = 12175;

struct INTERNET_BUFFERSW {
    DWORD dwStructSize;
    INTERNET_BUFFERSW* Next;
    LPCWSTR lpcszHeader;
    DWORD dwHeadersLength;
    DWORD dwHeadersTotal;
    LPVOID lpvBuffer;
    DWORD dwBufferLength;
    DWORD dwBufferTotal;
    DWORD dwOffsetLow;
    DWORD dwOffsetHigh;
};
static_assert(sizeof(INTERNET_BUFFERSW) == 56 && offsetof(INTERNET_BUFFERSW, lpvBuffer) == 32 &&
              offsetof(INTERNET_BUFFERSW, dwBufferTotal) == 44);

extern "C" {

// A session; the proxy comes from the environment (http_proxy, https_proxy, no_proxy). It remembers the
// credentials that its servers (by scheme, host and port) and proxies have accepted.
HINTERNET InternetOpenW(LPCWSTR agent, DWORD access_type, LPCWSTR proxy, LPCWSTR proxy_bypass, DWORD flags);
// A server's name and port, and the pool of connections to it; nothing is sent yet.
HINTERNET InternetConnectW(HINTERNET session, LPCWSTR server, INTERNET_PORT port, LPCWSTR user,
                           LPCWSTR password, DWORD service, DWORD flags, DWORD_PTR context);
// Closing a parent leaves its children usable until they are closed.
BOOL InternetCloseHandle(HINTERNET handle);

// Sizes of texts are in units for setting and querying. A null handle serves
// INTERNET_OPTION_END_BROWSER_SESSION alone, which forgets every remembered credential of the process and
// every idle connection.
BOOL InternetSetOptionW(HINTERNET handle, DWORD option, LPVOID buffer, DWORD size);
BOOL InternetQueryOptionW(HINTERNET handle, DWORD option, LPVOID buffer, DWORD* size);

// `accept_types` is ended by a null; a missing verb is GET.
HINTERNET HttpOpenRequestW(HINTERNET connection, LPCWSTR verb, LPCWSTR object, LPCWSTR version,
                           LPCWSTR referrer, LPCWSTR* accept_types, DWORD flags, DWORD_PTR context);
// Lines ended by "\n" or "\r\n"; ERROR_INVALID_PARAMETER for a line without a name or with a control
// character.
BOOL HttpAddRequestHeadersW(HINTERNET request, LPCWSTR headers, DWORD length, DWORD modifiers);
// Returns when the answer's headers are in; the body stays to be read. Redirects are followed, to another
// server without cookies, authorization and request digest; ERROR_HTTP_REDIRECT_FAILED instead of a body
// there.
BOOL HttpSendRequestW(HINTERNET request, LPCWSTR headers, DWORD headers_length, LPVOID body, DWORD body_size);
// Sends the headers; the body follows by InternetWriteFile, and HttpEndRequestW waits for the answer. The
// length is dwBufferTotal or that of a content-length header added before; without either the body goes out
// chunked.
BOOL HttpSendRequestExW(HINTERNET request, INTERNET_BUFFERSW* buffers_in, INTERNET_BUFFERSW* buffers_out,
                        DWORD flags, DWORD_PTR context);
BOOL InternetWriteFile(HINTERNET request, LPCVOID data, DWORD size, DWORD* written);
// ERROR_INTERNET_FORCE_RETRY: the server wants the body once more, with credentials that are now known.
BOOL HttpEndRequestW(HINTERNET request, INTERNET_BUFFERSW* buffers_out, DWORD flags, DWORD_PTR context);

// Sizes are in bytes, without the zero on success and with it on ERROR_INSUFFICIENT_BUFFER. `index` picks
// among headers of one name and is moved on; ERROR_HTTP_HEADER_NOT_FOUND ends the walk.
BOOL HttpQueryInfoW(HINTERNET request, DWORD level, LPVOID buffer, DWORD* size, DWORD* index);
// As many bytes as have come, at least one until the end; `read` of 0 with TRUE is the complete body's end.
// A body that ends early fails with ERROR_INTERNET_CONNECTION_ABORTED.
BOOL InternetReadFile(HINTERNET request, LPVOID buffer, DWORD size, DWORD* read);

// The text of the thread's last failure that has a text of its own; size in units.
BOOL InternetGetLastResponseInfoW(DWORD* error, LPWSTR buffer, DWORD* size);

// There is no cookie jar, so there is nothing to change: TRUE for a valid URL and name.
DWORD InternetSetCookieExW(LPCWSTR url, LPCWSTR name, LPCWSTR data, DWORD flags, DWORD_PTR reserved);

// S_OK and the user agent of the system in narrow text; E_OUTOFMEMORY when the size (bytes) is too small.
HRESULT ObtainUserAgentString(DWORD option, LPSTR buffer, DWORD* size);

}  // extern "C"
