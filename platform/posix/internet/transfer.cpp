#include "internet/transfer.h"

#include <openssl/ssl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "internet/errors.h"
#include "internet/pipe_signal.h"

namespace platform::internet {

namespace {

constexpr std::size_t kBufferSize = 256 * 1024;
constexpr long kReceiveBlock = 64 * 1024;
constexpr long kUploadBlock = 256 * 1024;
// How much of an unwanted answer is read to keep its connection.
constexpr std::size_t kMaxDiscarded = 64 * 1024;
constexpr std::chrono::milliseconds kMaxDiscardTime{1000};
// How long one wait may last before a closed handle is noticed.
constexpr int kWaitSlice = 50;

}  // namespace

Transfer::~Transfer() {
    const PipeSignalGuard guard;
    ReleaseHandles();
    curl_slist_free_all(m_header_list);
}

DWORD Transfer::Start(const TransferRequest& request) {
    const PipeSignalGuard guard;
    DiscardAnswer();
    detach();
    if (!m_handles) m_handles = m_pool.Take();
    if (!m_handles) return ERROR_NOT_ENOUGH_MEMORY;
    m_handles->UseFor(request.target.origin());
    m_limits = request.limits;
    m_headers.clear();
    m_done = m_connected = m_answered = m_discarding = m_receive_paused = m_send_paused = m_upload_wanted =
        false;
    m_upload_ended = false;
    m_error = m_own_error = ERROR_SUCCESS;
    m_offered = m_proxy_offered = 0;
    m_begin = m_end = 0;
    m_source_size = 0;
    m_seen_uploaded = 0;
    m_pushing = request.pushed;
    m_push_left = request.pushed ? request.pushed_size : -1;
    m_memory_body = request.pushed ? 0 : request.body_size;
    m_may_be_repeated = request.login.has_value() || request.proxy_login.has_value();
    m_curl_error[0] = 0;
    m_error_text.clear();
    if (!m_handles->easy() || !SetOptions(request)) return ERROR_NOT_ENOUGH_MEMORY;
    if (curl_multi_add_handle(m_handles->multi(), m_handles->easy()) != CURLM_OK)
        return ERROR_INTERNET_INTERNAL_ERROR;
    m_active = true;
    if (!m_pushing || m_push_left == 0) return ERROR_SUCCESS;
    return Drive([this] { return m_upload_wanted || m_answered; });
}

bool Transfer::SetOptions(const TransferRequest& request) {
    const bool basics = Set(CURLOPT_URL, request.target.url().c_str()) && Set(CURLOPT_PATH_AS_IS, 1L) &&
                        Set(CURLOPT_PROTOCOLS_STR, "http,https") && Set(CURLOPT_FOLLOWLOCATION, 0L) &&
                        Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1)) &&
                        Set(CURLOPT_NOSIGNAL, 1L) && Set(CURLOPT_ERRORBUFFER, m_curl_error) &&
                        Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.limits.connect.count())) &&
                        Set(CURLOPT_BUFFERSIZE, kReceiveBlock) && Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 0L);
    const bool callbacks = Set(CURLOPT_HEADERFUNCTION, OnHeader) && Set(CURLOPT_HEADERDATA, this) &&
                           Set(CURLOPT_WRITEFUNCTION, OnBody) && Set(CURLOPT_WRITEDATA, this) &&
                           Set(CURLOPT_PREREQFUNCTION, OnReady) && Set(CURLOPT_PREREQDATA, this) &&
                           Set(CURLOPT_OPENSOCKETFUNCTION, OpenSocket) &&
                           Set(CURLOPT_SSL_CTX_FUNCTION, OnTls) && Set(CURLOPT_SSL_CTX_DATA, this);
    const bool verified = Set(CURLOPT_SSL_VERIFYPEER, 1L) && Set(CURLOPT_SSL_VERIFYHOST, 2L);
    return basics && callbacks && verified && SetBody(request) && SetHeaders(request) && SetLogin(request);
}

bool Transfer::SetBody(const TransferRequest& request) {
    // The method is reset first, since each of these options changes it.
    bool good = Set(CURLOPT_POSTFIELDS, nullptr) && Set(CURLOPT_UPLOAD, 0L) && Set(CURLOPT_HTTPGET, 1L);
    if (request.pushed) {
        good = good && Set(CURLOPT_UPLOAD, 1L) && Set(CURLOPT_READFUNCTION, OnUpload) &&
               Set(CURLOPT_READDATA, this) &&
               Set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.pushed_size)) &&
               Set(CURLOPT_UPLOAD_BUFFERSIZE, kUploadBlock);
    } else if (request.body_size) {
        good = good && Set(CURLOPT_POST, 1L) &&
               Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body_size)) &&
               Set(CURLOPT_POSTFIELDS, static_cast<const char*>(request.body));
    } else if (request.verb == "HEAD") {
        good = good && Set(CURLOPT_NOBODY, 1L);
    }
    return good && Set(CURLOPT_CUSTOMREQUEST, request.verb.c_str());
}

bool Transfer::SetHeaders(const TransferRequest& request) {
    curl_slist_free_all(m_header_list);
    m_header_list = nullptr;
    const auto append = [this](const std::string& line) {
        curl_slist* longer = curl_slist_append(m_header_list, line.c_str());
        if (longer) m_header_list = longer;
        return longer != nullptr;
    };
    const bool has_body = request.pushed || request.body_size;
    bool has_type = false;
    bool has_length = false;
    bool has_agent = false;
    bool good = append("Expect:");
    bool has_accept = false;
    for (const Header& header : request.headers) {
        // The body's own length is what counts; it is announced once.
        const bool is_length = EqualsIgnoringCase(header.name, "Content-Length");
        has_length = has_length || is_length;
        has_type = has_type || EqualsIgnoringCase(header.name, "Content-Type");
        has_agent = has_agent || EqualsIgnoringCase(header.name, "User-Agent");
        has_accept = has_accept || EqualsIgnoringCase(header.name, "Accept");
        if (is_length && has_body) continue;
        good = good && append(header.value.empty() ? header.name + ";" : header.name + ": " + header.value);
    }
    if (!has_type) good = good && append("Content-Type:");
    if (!has_accept) good = good && append("Accept:");
    const bool announces_nothing =
        !has_body && !has_length && (request.verb == "POST" || request.verb == "PUT");
    if (announces_nothing) good = good && append("Content-Length: 0");
    return good &&
           Set(CURLOPT_USERAGENT, has_agent || request.agent.empty() ? nullptr : request.agent.c_str()) &&
           Set(CURLOPT_HTTPHEADER, m_header_list);
}

bool Transfer::SetLogin(const TransferRequest& request) {
    const auto text = [](const std::optional<Login>& login, const std::string Credentials::*member) {
        return login ? (login->credentials.*member).c_str() : nullptr;
    };
    const auto scheme = [](const std::optional<Login>& login) {
        return static_cast<long>(login ? login->scheme : CURLAUTH_NONE);
    };
    return Set(CURLOPT_USERNAME, text(request.login, &Credentials::user)) &&
           Set(CURLOPT_PASSWORD, text(request.login, &Credentials::password)) &&
           Set(CURLOPT_HTTPAUTH, request.login ? scheme(request.login) : static_cast<long>(CURLAUTH_BASIC)) &&
           Set(CURLOPT_PROXYUSERNAME, text(request.proxy_login, &Credentials::user)) &&
           Set(CURLOPT_PROXYPASSWORD, text(request.proxy_login, &Credentials::password)) &&
           Set(CURLOPT_PROXYAUTH,
               request.proxy_login ? scheme(request.proxy_login) : static_cast<long>(CURLAUTH_BASIC));
}

std::size_t Transfer::OnHeader(char* data, std::size_t size, std::size_t count, void* self) {
    return static_cast<Transfer*>(self)->TakeHeader(data, size * count);
}

std::size_t Transfer::OnBody(char* data, std::size_t size, std::size_t count, void* self) {
    return static_cast<Transfer*>(self)->TakeBody(data, size * count);
}

std::size_t Transfer::OnUpload(char* buffer, std::size_t size, std::size_t count, void* self) {
    return static_cast<Transfer*>(self)->GiveUpload(buffer, size * count);
}

int Transfer::OnReady(void* self, char*, char*, int, int) {
    static_cast<Transfer*>(self)->m_connected = true;
    static_cast<Transfer*>(self)->m_moved = true;
    return CURL_PREREQFUNC_OK;
}

// Programs that the process starts inherit no connection.
curl_socket_t Transfer::OpenSocket(void*, curlsocktype, curl_sockaddr* address) {
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

// Adds the authorities of SSL_CERT_FILE to the system's.
CURLcode Transfer::OnTls(CURL*, void* context, void*) {
    const char* file = std::getenv("SSL_CERT_FILE");
    if (!file || !*file) return CURLE_OK;
    X509_STORE* store = SSL_CTX_get_cert_store(static_cast<SSL_CTX*>(context));
    return X509_STORE_load_locations(store, file, nullptr) == 1 ? CURLE_OK : CURLE_SSL_CACERT_BADFILE;
}

std::size_t Transfer::TakeHeader(const char* data, std::size_t size) {
    m_moved = true;
    if (m_answered) return size;  // a trailer
    if (!m_headers.AddLine(std::string_view(data, size))) {
        m_own_error = ERROR_HTTP_INVALID_SERVER_RESPONSE;
        return 0;
    }
    // A block that comes before the request was sent is the proxy's answer to CONNECT.
    const bool challenge = m_headers.status() == 401 || m_headers.status() == 407;
    if (m_headers.complete() && m_connected && m_headers.status() >= 200 && !(challenge && m_may_be_repeated))
        m_answered = true;
    return size;
}

std::size_t Transfer::TakeBody(const char* data, std::size_t size) {
    m_moved = true;
    m_answered = true;
    if (m_discarding) {
        m_delivered += size;
        return size;
    }
    const std::size_t direct = std::min(size, m_wanted_size - std::min(m_wanted_size, m_delivered));
    const std::size_t rest = size - direct;
    if (rest && !m_buffer) m_buffer.reset(new (std::nothrow) char[kBufferSize]);
    if (rest && !m_buffer) return 0;
    if (m_begin == m_end) m_begin = m_end = 0;
    if (rest > kBufferSize - m_end) {
        m_receive_paused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    if (direct) std::memcpy(m_wanted + m_delivered, data, direct);
    if (rest) std::memcpy(m_buffer.get() + m_end, data + direct, rest);
    m_delivered += direct;
    m_end += rest;
    return size;
}

std::size_t Transfer::GiveUpload(char* buffer, std::size_t size) {
    m_upload_wanted = true;
    m_moved = true;
    if (!m_source_size) {
        if (m_upload_ended) return 0;
        m_send_paused = true;
        return CURL_READFUNC_PAUSE;
    }
    const std::size_t count = std::min(size, m_source_size);
    std::memcpy(buffer, m_source, count);
    m_source += count;
    m_source_size -= count;
    return count;
}

template <class Reached>
DWORD Transfer::Drive(Reached reached) {
    auto since = std::chrono::steady_clock::now();
    bool clock_is_old = false;
    while (!reached()) {
        if (m_done) return m_error;
        if (m_closed) return ERROR_INTERNET_OPERATION_CANCELLED;
        m_moved = false;
        int running = 0;
        if (curl_multi_perform(m_handles->multi(), &running) != CURLM_OK)
            return ERROR_INTERNET_INTERNAL_ERROR;
        if (CheckDone() || m_moved) {
            clock_is_old = true;
            continue;
        }
        if (clock_is_old) since = std::chrono::steady_clock::now();
        clock_is_old = false;
        if (IdleTooLong(since)) {
            Settle(CURLE_OPERATION_TIMEDOUT);
            detach();
            return m_error;
        }
        if (curl_multi_poll(m_handles->multi(), nullptr, 0, kWaitSlice, nullptr) != CURLM_OK)
            return ERROR_INTERNET_INTERNAL_ERROR;
    }
    return ERROR_SUCCESS;
}

curl_off_t Transfer::uploaded() const {
    curl_off_t bytes = 0;
    curl_easy_getinfo(m_handles->easy(), CURLINFO_SIZE_UPLOAD_T, &bytes);
    return bytes;
}

// Whether the server or the proxy has accepted the connection.
bool Transfer::reached() const {
    long port = 0;
    curl_easy_getinfo(m_handles->easy(), CURLINFO_LOCAL_PORT, &port);
    return m_connected || port > 0;
}

// Bytes that the system took from the library's own upload buffer count as progress too. Connecting has a
// limit of its own; the TLS handshake and a proxy's answer to CONNECT fall under this one.
bool Transfer::IdleTooLong(std::chrono::steady_clock::time_point& since) {
    const auto now = std::chrono::steady_clock::now();
    const curl_off_t bytes = uploaded();
    if (!reached() || bytes != m_seen_uploaded) {
        m_seen_uploaded = bytes;
        since = now;
    }
    return now - since > m_limits.stall;
}

bool Transfer::CheckDone() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(m_handles->multi(), &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        Settle(message->data.result);
        detach();
        // A challenge may have to be answered over the same connection.
        const bool challenge = m_headers.status() == 401 || m_headers.status() == 407;
        if (m_error) {
            m_handles.reset();
        } else if (!challenge) {
            ReleaseHandles();
        }
        return true;
    }
    return false;
}

// The exchange has ended: reads its result from the library.
void Transfer::Settle(CURLcode result) {
    m_done = true;
    // A header line beyond the library's own limit is reported as a lack of memory.
    if (result == CURLE_OUT_OF_MEMORY && m_connected && !m_answered) result = CURLE_WEIRD_SERVER_REPLY;
    m_error = m_own_error ? m_own_error : ErrorFromCurl(result);
    if (m_error) m_error_text = m_curl_error[0] ? m_curl_error : curl_easy_strerror(result);
    NoteOffers();
    long tunnel_status = 0;
    curl_easy_getinfo(m_handles->easy(), CURLINFO_HTTP_CONNECTCODE, &tunnel_status);
    // A proxy that wants a login before it opens a tunnel has answered, though not with a body.
    if (m_error && !m_connected && tunnel_status == 407 && m_headers.status() == 407) {
        m_error = ERROR_SUCCESS;
        m_answered = true;
    }
    // Any other refusal of the tunnel isn't an answer of the server.
    if (m_error && !m_connected && tunnel_status >= 300) m_error = ERROR_INTERNET_CANNOT_CONNECT;
    if (!m_error && m_headers.complete()) m_answered = true;
    if (!m_error && !m_answered) m_error = ERROR_HTTP_INVALID_SERVER_RESPONSE;
}

void Transfer::NoteOffers() {
    long offered = 0;
    if (curl_easy_getinfo(m_handles->easy(), CURLINFO_HTTPAUTH_AVAIL, &offered) == CURLE_OK)
        m_offered = static_cast<unsigned long>(offered);
    if (curl_easy_getinfo(m_handles->easy(), CURLINFO_PROXYAUTH_AVAIL, &offered) == CURLE_OK)
        m_proxy_offered = static_cast<unsigned long>(offered);
}

unsigned long Transfer::OfferedSchemes(bool proxy) {
    if (m_active) NoteOffers();
    return proxy ? m_proxy_offered : m_offered;
}

void Transfer::Resume() {
    if (!m_active || (!m_receive_paused && !m_send_paused)) return;
    m_receive_paused = m_send_paused = false;
    curl_easy_pause(m_handles->easy(), CURLPAUSE_CONT);
}

// The caller's memory is needed until all of it has been sent or the server has refused it.
bool Transfer::BodyWasSent() const {
    if (!m_memory_body || m_headers.status() >= 300) return true;
    return static_cast<std::size_t>(uploaded()) >= m_memory_body;
}

DWORD Transfer::Push(const void* data, std::size_t size) {
    const PipeSignalGuard guard;
    if (!m_pushing || m_upload_ended) return ERROR_INTERNET_INCORRECT_HANDLE_STATE;
    if (m_push_left >= 0) {
        if (size > static_cast<std::size_t>(m_push_left)) return ERROR_INVALID_PARAMETER;
        m_push_left -= static_cast<long long>(size);
    }
    // An early answer, and a server that wants the body again, are reported when the body ends.
    const auto body_is_unwanted = [this] { return m_answered && (m_done || m_headers.status() >= 300); };
    m_source = static_cast<const char*>(data);
    m_source_size = size;
    Resume();
    const DWORD error = Drive([&] { return !m_source_size || body_is_unwanted(); });
    m_source_size = 0;
    return error == ERROR_INTERNET_FORCE_RETRY || m_answered ? static_cast<DWORD>(ERROR_SUCCESS) : error;
}

DWORD Transfer::FinishSending() {
    const PipeSignalGuard guard;
    if (m_pushing && m_push_left > 0 && !m_answered && !m_done) {
        Settle(CURLE_PARTIAL_FILE);
        detach();
        m_handles.reset();
        return m_error;
    }
    m_upload_ended = true;
    Resume();
    const DWORD error = Drive([this] { return m_answered && (m_done || BodyWasSent()); });
    return m_answered ? static_cast<DWORD>(ERROR_SUCCESS) : error;
}

DWORD Transfer::Read(void* buffer, std::size_t size, std::size_t& out_read) {
    out_read = 0;
    if (!m_answered) return ERROR_INTERNET_INCORRECT_HANDLE_STATE;
    if (m_begin != m_end) {
        out_read = std::min(size, m_end - m_begin);
        std::memcpy(buffer, m_buffer.get() + m_begin, out_read);
        m_begin += out_read;
        return ERROR_SUCCESS;
    }
    if (m_done || !size) return m_error;
    const PipeSignalGuard guard;
    m_wanted = static_cast<char*>(buffer);
    m_wanted_size = size;
    m_delivered = 0;
    Resume();
    const DWORD error = Drive([this] { return m_delivered > 0; });
    out_read = m_delivered;
    m_wanted_size = m_delivered = 0;
    return out_read ? static_cast<DWORD>(ERROR_SUCCESS) : error;
}

void Transfer::DiscardAnswer() {
    if (!m_active || !m_answered || m_done) return;
    const PipeSignalGuard guard;
    const auto until = std::chrono::steady_clock::now() + kMaxDiscardTime;
    m_limits.stall = std::min(m_limits.stall, kMaxDiscardTime);
    m_discarding = true;
    m_delivered = 0;
    Resume();
    Drive([&] { return m_delivered > kMaxDiscarded || std::chrono::steady_clock::now() > until; });
    m_delivered = 0;
    detach();
}

void Transfer::detach() {
    if (!m_active) return;
    curl_multi_remove_handle(m_handles->multi(), m_handles->easy());
    m_active = false;
}

void Transfer::ReleaseHandles() {
    detach();
    m_pool.GiveBack(std::move(m_handles));
}

}  // namespace platform::internet
