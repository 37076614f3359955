// Creation, URL cracking and reset of a connection. Handles are made and closed here alone.
#include "http/session.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/failure.h"
#include "base/text/encoding.h"
#include "base/text/ignore_case.h"
#include "http/handle.h"
#include "http/session_impl.h"
#include "platform/text.h"
#include "platform/wininet.h"

namespace Http {

namespace {

constexpr std::u16string_view kSecureScheme = u"https://";
constexpr char16_t kLoginServer[] = u"https://login.microsoftonline.com/";
constexpr char16_t kOwnUserAgent[] =
    u"Mozilla/4.0 (compatible; MSIE 7.0; Windows NT 6.3; Trident/7.0; .NET4.0E; .NET4.0C; TessmarkEditor)";
constexpr DWORD kConnectTimeout = 600'000;  // milliseconds

Handle OpenInternet() {
    SetServerErrorReader(&GetServerErrorText);
    return InternetOpenW(GetUserAgent().c_str(), INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
}

Handle Connect(Handle open_handle, const std::u16string& host, uint16_t port) {
    return InternetConnectW(open_handle, host.c_str(), port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0);
}

void Store(std::u16string* out, const char16_t* text, DWORD length) {
    if (!out) return;
    out->assign(text ? std::u16string_view(text, length) : std::u16string_view());
}

std::u16string_view TrimSlashes(std::u16string_view path) {
    while (path.starts_with(u'/')) path.remove_prefix(1);
    while (path.ends_with(u'/')) path.remove_suffix(1);
    return path;
}

std::u16string MakeUri(const std::u16string& scheme, const std::u16string& host, uint16_t port) {
    const bool is_default_port =
        port == 0 || (port == INTERNET_DEFAULT_HTTP_PORT && EqualIgnoringCase(scheme, u"http://")) ||
        (port == INTERNET_DEFAULT_HTTPS_PORT && EqualIgnoringCase(scheme, kSecureScheme));
    return is_default_port ? scheme + host : scheme + host + u":" + Widen(std::to_string(port));
}

}  // namespace

Session::Impl::~Impl() {
    if (connect_handle) InternetCloseHandle(connect_handle);
    if (open_handle) InternetCloseHandle(open_handle);
}

uint32_t Session::Impl::RequestFlags(uint32_t extra) const {
    return scheme == kSecureScheme ? extra | INTERNET_FLAG_SECURE : extra;
}

std::u16string Session::Impl::HeaderBlock(std::u16string_view length_line, const char16_t* headers) const {
    std::u16string text = u"X-Forms_Based_Auth_Accepted: t\n";
    text += length_line;
    if (headers) text += headers;
    if (!auth_token.empty()) {
        if (!text.ends_with(u'\n')) text += u"\n";
        text += u"Authorization: Bearer " + auth_token + u"\n";
    }
    return text;
}

Session::Session(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

Session::~Session() = default;

std::shared_ptr<Session> Session::Create(const std::u16string& scheme, const std::u16string& host,
                                         uint16_t port, const Credentials& credentials,
                                         const Credentials& proxy_credentials) {
    TRACE_ENTRY("Http::Session::Create");
    auto impl = std::make_unique<Impl>();
    impl->open_handle = OpenInternet();
    CHECK_THROW(impl->open_handle != nullptr, ApiException);
    impl->connect_handle = Connect(impl->open_handle, host, port);
    CHECK_THROW(impl->connect_handle != nullptr, ApiException);
    DWORD timeout = kConnectTimeout;
    if (!InternetSetOptionW(impl->connect_handle, INTERNET_OPTION_CONNECT_TIMEOUT, &timeout,
                            sizeof(timeout))) {
        bool has_text = false;
        LOG_LINE(Log::error, u"Failed to set timeout, error %s", GetApiErrorText(GetLastError(), has_text));
    }
    impl->scheme = scheme;
    impl->host = host;
    impl->port = port;
    impl->uri = MakeUri(scheme, host, port);
    if (!credentials.user.empty()) impl->credentials[host] = credentials;
    if (!proxy_credentials.user.empty()) impl->proxy_credentials[host] = proxy_credentials;
    std::shared_ptr<Session> session(new Session(std::move(impl)));
    TRACE_EXIT(u"");
    return session;
}

void Session::CrackUri(const char16_t* uri, std::u16string* scheme, std::u16string* host, uint16_t* port,
                       Credentials* credentials, std::u16string* path) {
    TRACE_ENTRY("Http::Session::CrackUri");
    std::array<char16_t, INTERNET_MAX_URL_LENGTH> buffer;
    char16_t* const canonical_uri = buffer.data();
    DWORD size = INTERNET_MAX_URL_LENGTH;
    CHECK_THROW(
        InternetCanonicalizeUrlW(uri, canonical_uri, &size, ICU_BROWSER_MODE | ICU_DECODE | ICU_NO_ENCODE),
        ApiException);
    URL_COMPONENTSW uri_components{};
    uri_components.dwStructSize = sizeof(uri_components);
    uri_components.dwHostNameLength = uri_components.dwUserNameLength = uri_components.dwPasswordLength =
        uri_components.dwUrlPathLength = uri_components.dwExtraInfoLength = 1;
    if (!InternetCrackUrlW(canonical_uri, 0, 0, &uri_components)) THROW_TRACED(ApiException);
    CHECK_THROW(
        uri_components.nScheme == INTERNET_SCHEME_HTTP || uri_components.nScheme == INTERNET_SCHEME_HTTPS,
        Exception, u"Internet scheme should be either HTTP or HTTPS");
    if (scheme) *scheme = uri_components.nScheme == INTERNET_SCHEME_HTTPS ? u"https://" : u"http://";
    Store(host, uri_components.lpszHostName, uri_components.dwHostNameLength);
    if (port) *port = uri_components.nPort;
    if (credentials) {
        Store(&credentials->user, uri_components.lpszUserName, uri_components.dwUserNameLength);
        Store(&credentials->password, uri_components.lpszPassword, uri_components.dwPasswordLength);
    }
    Store(path, uri_components.lpszUrlPath, uri_components.dwUrlPathLength);
    if (path) *path = TrimSlashes(std::u16string(*path));
    TRACE_EXIT(u"");
}

std::u16string Session::GetUri() const {
    return m_impl->uri;
}

void Session::ResetAuthorizationData(const Credentials& credentials) {
    TRACE_ENTRY("Http::Session::ResetAuthorizationData");
    InternetCloseHandle(std::exchange(m_impl->connect_handle, nullptr));
    InternetCloseHandle(std::exchange(m_impl->open_handle, nullptr));
    InternetSetOptionW(nullptr, INTERNET_OPTION_END_BROWSER_SESSION, nullptr, 0);
    m_impl->open_handle = OpenInternet();
    CHECK_THROW(m_impl->open_handle != nullptr, ApiException);
    m_impl->connect_handle = Connect(m_impl->open_handle, m_impl->host, m_impl->port);
    CHECK_THROW(m_impl->connect_handle != nullptr, ApiException);
    // The handle of this request stays open for as long as the process lives: it ties the new connection
    // down.
    const char16_t* accept[] = {u"*/*", nullptr};
    const Handle request = HttpOpenRequestW(m_impl->connect_handle, u"GET", u"", nullptr, nullptr, accept,
                                            m_impl->RequestFlags(0), 0);
    CHECK_THROW(request != nullptr, ApiException);
    CHECK_THROW_TEXT(HttpAddRequestHeadersW(request, u"content-length:0", static_cast<DWORD>(-1),
                                            HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE),
                     u"HttpAddRequestHeadersW(request, L\"content-length:0\", -1, HTTP_ADDREQ_FLAG_ADD | "
                     u"HTTP_ADDREQ_FLAG_REPLACE)",
                     ApiException);
    Http::SendRequest(request, {}, nullptr, 0);
    m_impl->credentials.clear();
    if (!credentials.user.empty()) m_impl->credentials[m_impl->host] = credentials;
    m_impl->cookies.clear();
    TRACE_EXIT(u"");
}

const Session::AuthCookies& Session::GetCookies() const {
    return m_impl->cookies;
}
void Session::SetCookies(AuthCookies cookies) {
    m_impl->cookies = std::move(cookies);
}
const std::u16string& Session::GetAuthToken() const {
    return m_impl->auth_token;
}
void CheckToken(const std::u16string& token) {
    TRACE_NAME("Http::CheckToken");
    const bool has_control = std::any_of(token.begin(), token.end(),
                                         [](char16_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); });
    CHECK_THROW(!has_control, Exception,
                u"The access token has a control character in it, so it is not sent. Please sign in again.");
}

void Session::SetAuthToken(std::u16string token) {
    CheckToken(token);
    m_impl->auth_token = std::move(token);
}
void Session::SetOnCredentials(OnCredentials callback) {
    m_impl->on_credentials = std::move(callback);
}
void Session::SetOnProxyCredentials(OnCredentials callback) {
    m_impl->on_proxy_credentials = std::move(callback);
}
void Session::SetOnAuthCookies(OnAuthCookies callback) {
    m_impl->on_auth_cookies = std::move(callback);
}
void Session::SetOnAuthToken(OnAuthToken callback) {
    m_impl->on_auth_token = std::move(callback);
}

std::u16string GetHost(const std::u16string& url) {
    std::u16string host;
    Session::CrackUri(url.c_str(), nullptr, &host, nullptr, nullptr, nullptr);
    return host;
}

std::shared_ptr<Session> ConnectToLoginServer() {
    TRACE_ENTRY("Http::ConnectToLoginServer");
    std::u16string scheme;
    std::u16string host;
    uint16_t port = 0;
    Session::CrackUri(kLoginServer, &scheme, &host, &port, nullptr, nullptr);
    std::shared_ptr<Session> session = Session::Create(scheme, host, port, {}, {});
    TRACE_EXIT(u"");
    return session;
}

std::u16string GetUserAgent() {
    std::array<char, 1024> buffer{};
    DWORD size = static_cast<DWORD>(buffer.size());
    if (ObtainUserAgentString(0, buffer.data(), &size) != S_OK || buffer[0] == '\0') return kOwnUserAgent;
    return Widen(buffer.data());
}

}  // namespace Http
