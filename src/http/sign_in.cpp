// The loop around a request that the server refuses: credentials, cookies or a token, as long as the answers
// change. Lives on the stack of the call that sends.
#include "base/text/encoding.h"
#include "base/text/ignore_case.h"
#include "http/handle.h"
#include "http/session_impl.h"
#include "platform/wininet.h"

namespace Http {

namespace {

constexpr uint32_t kUnauthorized = 401;
constexpr uint32_t kForbidden = 403;
constexpr uint32_t kProxyUnauthorized = 407;

std::u16string BearerLine(const std::u16string& token) {
    return token.empty() ? std::u16string() : u"Authorization: Bearer " + token + u"\n";
}

void SetTextOption(Handle handle, uint32_t option, const std::u16string& text) {
    InternetSetOptionW(handle, option, const_cast<char16_t*>(text.c_str()),
                       static_cast<DWORD>(text.size() + 1));
}

}  // namespace

Session::Exchange::Exchange(Impl& session, Handle handle, const char16_t* headers, const char* body,
                            uint32_t body_size, std::chrono::milliseconds patience)
    : m_session(session),
      m_handle(handle),
      m_headers(headers),
      m_body(body),
      m_body_size(body_size),
      m_patience(patience) {
    m_text = session.HeaderBlock(body_size == 0 ? u"content-length: 0\n" : u"", headers);
}

uint32_t Session::Exchange::Run() {
    Send();
    IsNew();
    while (SignIn()) {
    }
    return m_status;
}

void Session::Exchange::Send() {
    m_status = Http::SendRequest(m_handle, m_text, m_body, m_body_size, m_patience);
    // After a redirect this is the host that answered, not the session's.
    m_host = AnsweringHost();
}

std::u16string Session::Exchange::AnsweringHost() const {
    std::u16string host;
    uint16_t port = 0;
    Session::CrackUri(GetRequestUri(m_handle).c_str(), nullptr, &host, &port, nullptr, nullptr);
    if (!EqualIgnoringCase(host, m_session.host) || m_session.port == 0 || port == m_session.port)
        return host;
    return host + u":" + Widen(std::to_string(port));
}

bool Session::Exchange::IsNew() {
    const auto [first, last] = m_visited.equal_range(m_host);
    for (auto seen = first; seen != last; ++seen) {
        if (seen->second == m_status) return false;
    }
    m_visited.emplace(m_host, m_status);
    return true;
}

// One round; false when `m_status` is final.
bool Session::Exchange::SignIn() {
    if (m_status != kUnauthorized && m_status != kForbidden && m_status != kProxyUnauthorized) return false;
    // docs/compatibility.md: A proxy that asks for a password is never a matter of the site
    if (m_status == kProxyUnauthorized && !GetHeaders(m_handle, u"Proxy-Authenticate").empty())
        return SignInWithCredentials();
    if (m_status == kForbidden || m_session.on_auth_token ||
        GetHeaders(m_handle, u"WWW-Authenticate").empty())
        return SignInWithForms();
    return SignInWithCredentials();
}

Session::Exchange::CredentialsSource Session::Exchange::SourceFor(uint32_t status) {
    if (status == kProxyUnauthorized) {
        return {m_session.proxy_credentials, m_session.on_proxy_credentials, INTERNET_OPTION_PROXY_USERNAME,
                INTERNET_OPTION_PROXY_PASSWORD};
    }
    return {m_session.credentials, m_session.on_credentials, INTERNET_OPTION_USERNAME,
            INTERNET_OPTION_PASSWORD};
}

void Session::Exchange::SetOptions(const CredentialsSource& source, const Credentials& record) {
    SetTextOption(m_handle, source.user_option, record.user);
    SetTextOption(m_handle, source.password_option, record.password);
}

bool Session::Exchange::SignInWithCredentials() {
    const CredentialsSource source = SourceFor(m_status);
    const auto stored = source.known.find(m_host);
    if (stored != source.known.end() && !stored->second.user.empty() && !stored->second.password.empty()) {
        SetOptions(source, stored->second);
        Send();
        if (IsNew()) return true;
    }
    if (!source.callback) return false;
    Credentials record;
    if (const auto known = source.known.find(m_host); known != source.known.end()) record = known->second;
    const std::u16string status_text = GetStatusText(m_handle);
    const std::u16string asked_host = m_host;
    source.callback(record, asked_host.c_str(), status_text.c_str());
    SetOptions(source, record);
    Send();
    // Credentials are kept only when they changed what the server said.
    if (IsNew()) source.known[asked_host] = record;
    return true;
}

bool Session::Exchange::SignInWithForms() {
    std::vector<std::u16string> required = GetHeaders(m_handle, u"X-Forms_Based_Auth_Required");
    if (required.empty()) required.push_back(m_session.uri);
    std::vector<std::u16string> returns = GetHeaders(m_handle, u"X-Forms_Based_Auth_Return_Url");
    if (returns.empty()) returns.emplace_back();
    const std::u16string server_url = m_session.scheme + m_session.host;
    AuthCookies new_cookies;
    std::u16string new_token;
    if (m_session.on_auth_token) {
        m_session.on_auth_token(new_token, server_url.c_str());
        CheckToken(new_token);
        m_text = BearerLine(new_token);
    } else if (m_session.on_auth_cookies) {
        m_session.on_auth_cookies(new_cookies, server_url.c_str(), required.front().c_str(),
                                  returns.front().c_str());
        m_text = m_headers ? m_headers : u"";
        AddCookiesToRequest(m_handle, new_cookies);
    }
    Send();
    if (!IsNew()) return false;
    m_session.cookies = std::move(new_cookies);
    m_session.auth_token = std::move(new_token);
    return true;
}

}  // namespace Http
