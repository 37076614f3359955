#include "internet/request.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "internet/kerberos.h"
#include "platform/sign_in_notes.h"

namespace platform::internet {

namespace {

constexpr int kMaxRedirects = 10;
constexpr std::chrono::milliseconds kStallLimit{30'000};

// A limit from the environment can only lower the usual one.
std::chrono::milliseconds Limited(std::chrono::milliseconds usual, const char* variable) {
    const char* text = std::getenv(variable);
    long value = 0;
    if (!text || std::from_chars(text, text + std::strlen(text), value).ec != std::errc() || value <= 0)
        return usual;
    return std::min(usual, std::chrono::milliseconds(value));
}

bool IsRedirect(unsigned status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// As browsers do: a redirected POST is followed by a GET.
bool TurnsToGet(unsigned status, const std::string& verb) {
    return status == 303 ? verb != "HEAD" : (status == 301 || status == 302) && verb == "POST";
}

bool IsSecret(const Header& header) {
    return EqualsIgnoringCase(header.name, "Cookie") || EqualsIgnoringCase(header.name, "Authorization") ||
           EqualsIgnoringCase(header.name, "X-RequestDigest");
}

bool DescribesBody(const Header& header) {
    return EqualsIgnoringCase(header.name.substr(0, 8), "Content-") ||
           EqualsIgnoringCase(header.name, "Transfer-Encoding");
}

Target OriginalTargetOf(const Connection& connection, DWORD flags, std::string object) {
    const bool secure = (flags & INTERNET_FLAG_SECURE) != 0;
    const INTERNET_PORT usual = secure ? INTERNET_DEFAULT_HTTPS_PORT : INTERNET_DEFAULT_HTTP_PORT;
    return {secure, connection.host, connection.port ? connection.port : usual, std::move(object)};
}

// Copies a text out by the rules of HttpQueryInfoW: sizes are in bytes.
DWORD GiveText(std::u16string_view text, void* buffer, DWORD* size) {
    const std::size_t bytes = text.size() * sizeof(char16_t);
    if (!buffer || *size < bytes + sizeof(char16_t)) {
        *size = static_cast<DWORD>(bytes + sizeof(char16_t));
        return ERROR_INSUFFICIENT_BUFFER;
    }
    std::memcpy(buffer, text.data(), bytes);
    std::memset(static_cast<char*>(buffer) + bytes, 0, sizeof(char16_t));
    *size = static_cast<DWORD>(bytes);
    return ERROR_SUCCESS;
}

std::u16string JoinLines(const std::vector<std::string>& lines, std::u16string_view separator) {
    std::u16string text;
    for (const std::string& line : lines) text.append(FromHeaderBytes(line)).append(separator);
    return text;
}

}  // namespace

Request::Request(std::shared_ptr<Connection> connection, std::string verb, std::string object, DWORD flags)
    : Object(kKind),
      m_connection(std::move(connection)),
      m_verb(std::move(verb)),
      m_original_target{OriginalTargetOf(*m_connection, flags, std::move(object))},
      m_connect_timeout(m_connection->connect_timeout),
      m_target(m_original_target),
      m_transfer(m_connection->pool, m_closed) {}

DWORD Request::AddHeaders(std::u16string_view text, DWORD modifiers) {
    const std::lock_guard lock(m_mutex);
    return m_headers.Add(text, modifiers);
}

void Request::SetConnectTimeout(DWORD milliseconds) {
    const std::lock_guard lock(m_mutex);
    m_connect_timeout = milliseconds;
}

DWORD Request::SetCredential(DWORD option, std::string text) {
    const std::lock_guard lock(m_mutex);
    const bool proxy = option == INTERNET_OPTION_PROXY_USERNAME || option == INTERNET_OPTION_PROXY_PASSWORD;
    const bool user = option == INTERNET_OPTION_USERNAME || option == INTERNET_OPTION_PROXY_USERNAME;
    Given& given = proxy ? m_proxy_given : m_given;
    (user ? given.credentials.user : given.credentials.password) = std::move(text);
    given.origin = proxy ? ProxyOrigin() : m_target.origin();
    const bool was_asked = m_transfer.answered() && m_transfer.headers().status() == (proxy ? 407u : 401u);
    if (was_asked) given.scheme = SchemeFor(proxy, given.credentials);
    return ERROR_SUCCESS;
}

// Libcurl signs in to proxies, and gets no ticket for a password.
unsigned long Request::SchemeFor(bool proxy, const Credentials& credentials) {
    const unsigned long offered = m_transfer.OfferedSchemes(proxy);
    const bool with_kerberos =
        !proxy && (offered & CURLAUTH_NEGOTIATE) && !PrincipalFor(credentials.user, m_target.host).empty();
    return ChooseScheme(offered, with_kerberos);
}

std::string Request::FinalUrl() {
    const std::lock_guard lock(m_mutex);
    return m_target.url();
}

std::string Request::ErrorText() {
    const std::lock_guard lock(m_mutex);
    return m_transfer.ErrorText();
}

// Credentials that the caller set come before remembered ones. Until a challenge has named a scheme for them,
// none are sent.
std::optional<Login> Request::ChooseLogin(const std::string& origin, const Given& given) const {
    if (!given.credentials.user.empty() && given.origin == origin) {
        if (!given.scheme) return std::nullopt;
        return Login{given.credentials, given.scheme};
    }
    if (const auto accepted = Remembered().Find(origin))
        return Login{accepted->credentials, accepted->scheme};
    if (m_ticket_origins.contains(origin)) return Login{{}, CURLAUTH_NEGOTIATE};
    return std::nullopt;
}

// Whether the server or the proxy is answered with the person's own ticket from now on; asked for once. A
// server that a redirect leads to gets none.
bool Request::TakeTicket(bool proxy) {
    const std::string origin = proxy ? ProxyOrigin() : m_target.origin();
    if (!(m_transfer.OfferedSchemes(proxy) & CURLAUTH_NEGOTIATE) || m_refused_ticket_origins.contains(origin))
        return false;
    const bool may = proxy ? MayUseTicketForProxy(ProxyHostOf(m_target.secure))
                           : MayShareSecrets(m_original_target, m_target) && MayUseTicket(m_target);
    if (may) m_ticket_origins.insert(origin);
    return may;
}

// For a ticket that was refused, or couldn't be had.
void Request::ForgetTicket(bool proxy) {
    const std::string origin = proxy ? ProxyOrigin() : m_target.origin();
    m_ticket_origins.erase(origin);
    m_refused_ticket_origins.insert(origin);
    if (!proxy && !m_token_was_sent) return;  // why not has been said
    const std::string host = proxy ? "the proxy " + ProxyHostOf(m_target.secure) : m_target.host;
    NoteSignIn(host + " refused your Kerberos ticket; its key or its clock may differ from the realm's");
}

TransferRequest Request::Make(const Target& target) const {
    TransferRequest request;
    request.verb = m_current_verb;
    request.target = target;
    request.agent = m_connection->session->agent;
    const bool trusted = MayShareSecrets(m_original_target, target);
    for (const Header& header : m_headers.all()) {
        if ((trusted || !IsSecret(header)) && (m_with_body || !DescribesBody(header)))
            request.headers.push_back(header);
    }
    if (m_negotiation) {
        const std::string authorization = m_negotiation->authorization();
        if (!authorization.empty()) request.headers.push_back({"Authorization", authorization});
    } else {
        request.login = m_login;
    }
    request.proxy_login = m_proxy_login;
    request.limits.connect =
        Limited(std::chrono::milliseconds(m_connect_timeout), "PLATFORM_CONNECT_TIMEOUT_MS");
    request.limits.stall = Limited(kStallLimit, "PLATFORM_RECEIVE_TIMEOUT_MS");
    return request;
}

void Request::StartOver(const Target& target, std::string verb) {
    m_sent = true;
    m_target = target;
    m_current_verb = std::move(verb);
    m_with_body = true;
    m_redirects = 0;
    m_negotiation.reset();
}

DWORD Request::Send(std::u16string_view headers, const void* body, std::size_t size) {
    const std::lock_guard lock(m_mutex);
    if (const DWORD error = m_headers.Add(headers, HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE))
        return error;
    m_transfer.DiscardAnswer();
    StartOver(m_original_target, m_verb);
    m_has_body = size > 0;
    m_upload_target.reset();
    return Run(body, size);
}

void Request::ChooseLogins() {
    m_login = ChooseLogin(m_target.origin(), m_given);
    m_proxy_login = ChooseLogin(ProxyOrigin(), m_proxy_given);
    m_negotiation.reset();
    if (m_login && Negotiation::IsNeeded(m_login->scheme, m_login->credentials)) BeginNegotiation();
}

void Request::BeginNegotiation() {
    m_negotiation = std::make_unique<Negotiation>(m_login->scheme, m_target.host, m_login->credentials);
}

// Sends, and sends again after each challenge that can be answered and each redirect.
DWORD Request::Run(const void* body, std::size_t size) {
    for (;;) {
        if (!m_negotiation) {
            ChooseLogins();
            if (m_negotiation && m_with_body && size) {
                if (const DWORD error = SendFirstToken()) return error;
            }
        }
        TransferRequest request = Make(m_target);
        if (m_with_body) {
            request.body = body;
            request.body_size = size;
        }
        DWORD error = m_transfer.Start(request);
        if (!error) error = m_transfer.FinishSending();
        if (error) return error;
        const Outcome outcome = HandleAnswer();
        if (outcome.step != Step::again) return outcome.error;
    }
}

long long Request::UploadSize(DWORD total) const {
    if (const Header* announced = m_headers.Find("Content-Length")) {
        long long size = -1;
        const char* end = announced->value.data() + announced->value.size();
        const auto parsed = std::from_chars(announced->value.data(), end, size);
        if (parsed.ec == std::errc() && parsed.ptr == end && size >= 0) return size;
    }
    return total ? static_cast<long long>(total) : -1;
}

DWORD Request::BeginUpload(std::u16string_view headers, DWORD total) {
    const std::lock_guard lock(m_mutex);
    if (const DWORD error = m_headers.Add(headers, HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE))
        return error;
    m_transfer.DiscardAnswer();
    const int redirects = m_upload_target ? m_redirects : 0;
    StartOver(m_upload_target.value_or(m_original_target), m_verb);
    m_redirects = redirects;
    m_has_body = true;
    ChooseLogins();
    if (m_negotiation) {
        if (const DWORD error = SendFirstToken()) return error;
    }
    TransferRequest request = Make(m_target);
    request.pushed = true;
    request.pushed_size = UploadSize(total);
    return m_transfer.Start(request);
}

DWORD Request::Write(const void* data, std::size_t size) {
    const std::lock_guard lock(m_mutex);
    return m_transfer.Push(data, size);
}

DWORD Request::EndUpload() {
    const std::lock_guard lock(m_mutex);
    if (!m_sent) return ERROR_INTERNET_INCORRECT_HANDLE_STATE;
    if (const DWORD error = m_transfer.FinishSending()) return error;
    const Outcome outcome = HandleAnswer();
    if (outcome.step != Step::again) {
        m_upload_target.reset();
        return outcome.error;
    }
    if (!m_with_body) return Run(nullptr, 0);
    // The body was streamed and isn't kept: the caller must send it again.
    if (m_redirects) m_upload_target = m_target;
    return ERROR_INTERNET_FORCE_RETRY;
}

// Sends the first token with a HEAD request. With the body, the body would be sent for nothing; with an empty
// body, a server to which one token is enough would store that.
DWORD Request::SendFirstToken() {
    TransferRequest request = Make(m_target);
    request.verb = "HEAD";
    std::erase_if(request.headers, DescribesBody);
    DWORD error = m_transfer.Start(request);
    if (!error) error = m_transfer.FinishSending();
    if (error || ContinueNegotiation()) return error;
    BeginNegotiation();
    return ERROR_SUCCESS;
}

// True when the answer brings the server's token and there is one to send back.
bool Request::ContinueNegotiation() {
    if (!m_negotiation || m_transfer.headers().status() != 401) return false;
    for (std::size_t i = 0; const auto challenge = m_transfer.headers().Find("WWW-Authenticate", i); ++i)
        if (m_negotiation->Take(*challenge)) return true;
    return false;
}

Request::Outcome Request::HandleAnswer() {
    const unsigned status = m_transfer.headers().status();
    NoteProxyLogin();
    m_token_was_sent = m_negotiation && !m_negotiation->authorization().empty();
    if (ContinueNegotiation()) return {Step::again, ERROR_SUCCESS};
    m_negotiation.reset();
    if (status == 401) return AnswerChallenge(false);
    if (status == 407) return AnswerChallenge(true);
    NoteSuccess();
    if (IsRedirect(status)) return FollowRedirect();
    return {};
}

Request::Outcome Request::AnswerChallenge(bool proxy) {
    const std::optional<Login>& used = proxy ? m_proxy_login : m_login;
    const std::string origin = proxy ? ProxyOrigin() : m_target.origin();
    Given& given = proxy ? m_proxy_given : m_given;
    if (used) Remembered().Forget(origin, used->credentials);
    if (used && used->credentials.user.empty()) ForgetTicket(proxy);
    const bool untried = !used && !given.credentials.user.empty() && given.origin == origin;
    if (!untried) {
        const bool has_ticket = !used && given.credentials.user.empty() && TakeTicket(proxy);
        return {has_ticket ? Step::again : Step::done, ERROR_SUCCESS};
    }
    given.scheme = SchemeFor(proxy, given.credentials);
    return {given.scheme ? Step::again : Step::done, ERROR_SUCCESS};
}

Request::Outcome Request::FollowRedirect() {
    const unsigned status = m_transfer.headers().status();
    const auto location = m_transfer.headers().Find("Location", 0);
    if (!location || location->empty()) return {};
    const std::optional<Target> next = Resolve(m_target, *location);
    if (!next || ++m_redirects > kMaxRedirects) return {Step::failed, ERROR_HTTP_REDIRECT_FAILED};
    if (m_target.secure && !next->secure) return {Step::failed, ERROR_INTERNET_HTTPS_TO_HTTP_ON_REDIR};
    if (TurnsToGet(status, m_current_verb)) {
        m_current_verb = "GET";
        m_with_body = false;
    }
    // A body is for the site that it was sent to, and nobody was asked about another.
    if (m_with_body && m_has_body && !MayShareSecrets(m_original_target, *next))
        return {Step::failed, ERROR_HTTP_REDIRECT_FAILED};
    m_target = *next;
    return {Step::again, ERROR_SUCCESS};
}

void Request::NoteSuccess() {
    if (m_transfer.headers().status() >= 400) return;
    if (m_login) Remembered().Remember(m_target.origin(), {m_login->credentials, m_login->scheme});
}

// A proxy that lets a request through has accepted its login, whatever the site answers.
void Request::NoteProxyLogin() {
    if (m_proxy_login && m_transfer.headers().status() != 407)
        Remembered().Remember(ProxyOrigin(), {m_proxy_login->credentials, m_proxy_login->scheme});
}

DWORD Request::Read(void* buffer, std::size_t size, std::size_t& out_read) {
    const std::lock_guard lock(m_mutex);
    return m_transfer.Read(buffer, size, out_read);
}

DWORD Request::Query(DWORD level, void* buffer, DWORD* size, DWORD* index) {
    const std::lock_guard lock(m_mutex);
    if (!size) return ERROR_INVALID_PARAMETER;
    if (!m_transfer.answered()) return ERROR_INTERNET_INCORRECT_HANDLE_STATE;
    const ResponseHeaders& headers = m_transfer.headers();
    const bool number = (level & HTTP_QUERY_FLAG_NUMBER) != 0;
    switch (level & ~HTTP_QUERY_FLAG_NUMBER) {
        case HTTP_QUERY_STATUS_CODE: {
            if (!number) return GiveText(FromHeaderBytes(std::to_string(headers.status())), buffer, size);
            const DWORD status = headers.status();
            const bool fits = buffer && *size >= sizeof status;
            *size = sizeof status;
            if (!fits) return ERROR_INSUFFICIENT_BUFFER;
            std::memcpy(buffer, &status, sizeof status);
            return ERROR_SUCCESS;
        }
        case HTTP_QUERY_STATUS_TEXT:
            return GiveText(FromHeaderBytes(headers.reason()), buffer, size);
        case HTTP_QUERY_RAW_HEADERS:
            return GiveText(JoinLines(headers.lines(), std::u16string_view(u"\0", 1)), buffer, size);
        case HTTP_QUERY_CUSTOM: {
            if (!buffer) return ERROR_INVALID_PARAMETER;
            const auto* name = static_cast<const char16_t*>(buffer);
            const auto value = headers.Find(ToUtf8(name), index ? *index : 0);
            if (!value) return ERROR_HTTP_HEADER_NOT_FOUND;
            const DWORD error = GiveText(FromHeaderBytes(*value), buffer, size);
            if (!error && index) ++*index;
            return error;
        }
        default:
            return ERROR_INVALID_PARAMETER;
    }
}

}  // namespace platform::internet
