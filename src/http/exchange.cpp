// Requests, answers and the final look at a status. A handle closes with the last copy of what holds it.
#include "http/exchange.h"

#include <cstring>
#include <utility>

#include "base/operation_scope.h"
#include "base/text/encoding.h"
#include "http/blocking_call.h"
#include "http/busy.h"
#include "http/handle.h"
#include "http/log_text.h"
#include "http/session_impl.h"
#include "platform/wininet.h"

namespace Http {

namespace {

// A change that was sent is most likely made a moment later, which is good to know.
constexpr std::chrono::milliseconds kPatienceWithChanges(900);
constexpr DWORD kReplace = HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE;
constexpr DWORD kRequestFlags = INTERNET_FLAG_KEEP_CONNECTION | INTERNET_FLAG_NO_COOKIES;

Handle OpenRequest(Handle connect_handle, const char16_t* verb, const std::u16string& object,
                   const char16_t* const* accept_types, DWORD flags) {
    return HttpOpenRequestW(connect_handle, verb, object.c_str(), nullptr, nullptr,
                            const_cast<LPCWSTR*>(accept_types), flags, 0);
}

// What was told before a request that may change something is old when it has ended, however it ended.
class NoteOfChange {
public:
    explicit NoteOfChange(std::u16string_view verb) : m_is_change(!ChangesNothing(verb)) {}
    ~NoteOfChange() {
        if (m_is_change) OperationScope::NoteChange();
    }
    NoteOfChange(const NoteOfChange&) = delete;
    NoteOfChange& operator=(const NoteOfChange&) = delete;

private:
    bool m_is_change;
};

bool IsExpected(uint32_t status) {
    return 200 <= status && status < 400;
}

}  // namespace

struct Response::Impl {
    ~Impl() { CloseRequest(handle); }
    const std::shared_ptr<CancelWatch> watch = GetCancelWatch();
    Handle handle = nullptr;
    uint32_t status = 0;
    // The request of an unexpected status, for the log.
    std::u16string request_text;
};

struct Request::Impl {
    ~Impl() { CloseRequest(handle); }
    const std::shared_ptr<CancelWatch> watch = GetCancelWatch();
    Handle handle = nullptr;
};

Response::Response() : m_impl(std::make_shared<Impl>()) {}
Response::~Response() = default;

uint32_t Response::GetStatus() const {
    return m_impl->status;
}
size_t Response::ReadBody(void* buffer, size_t max_size) const {
    return Http::ReadBody(m_impl->handle, buffer, max_size);
}
size_t Response::ReadBody(std::string& bytes) const {
    return Http::ReadBody(m_impl->handle, bytes);
}
std::vector<std::u16string> Response::GetHeaders(const char16_t* name) const {
    return Http::GetHeaders(m_impl->handle, name);
}
Handle Response::GetHandle() const {
    return m_impl->handle;
}

void Response::CheckStatus() const {
    TRACE_NAME("Http::Session::SendRequest");
    const uint32_t status = m_impl->status;
    if (!IsExpected(status) && Log::IsOn(Log::error)) {
        LOG_LINE(Log::error, u"%s",
                 u"Unexpected HTTP code:\n\n>>> " + m_impl->request_text + u"\n<<< " +
                     DumpResponse(m_impl->handle));
    }
    CHECK_THROW(200 <= status && status < 400, HttpException, m_impl->handle);
}

Request::Request() : m_impl(std::make_shared<Impl>()) {}
Request::~Request() = default;

Handle Request::GetHandle() const {
    return m_impl->handle;
}

size_t Request::Write(const void* data, size_t size) {
    TRACE_ENTRY("Http::Request::Write");
    DWORD written_size = 0;
    BlockingCall call(m_impl->handle);
    const bool is_written =
        InternetWriteFile(m_impl->handle, data, static_cast<DWORD>(size), &written_size) != FALSE;
    const DWORD error = GetLastError();
    call.Finish();
    CHECK_THROW_TEXT(is_written, u"InternetWriteFile(m_impl->handle, data, size, &written_size)",
                     ApiException, error);
    TRACE_EXIT(written_size);
    return written_size;
}

void Request::SendAgain(uint64_t size) {
    TRACE_ENTRY("Http::Request::SendAgain");
    SendRequestEx(m_impl->handle, size);
    TRACE_EXIT(u"");
}

Response Request::End() {
    TRACE_ENTRY("Http::Request::End");
    OperationScope::NoteChange();
    BlockingCall call(m_impl->handle, kPatienceWithChanges);
    const bool is_ended = HttpEndRequestW(m_impl->handle, nullptr, 0, 0) != FALSE;
    const DWORD error = GetLastError();
    call.Finish();
    CHECK_THROW_TEXT(is_ended, u"HttpEndRequestW(m_impl->handle, nullptr, 0, 0)", ApiException, error);
    DWORD status = 0;
    DWORD status_size = sizeof(status);
    CHECK_THROW(HttpQueryInfoW(m_impl->handle, HTTP_QUERY_FLAG_NUMBER | HTTP_QUERY_STATUS_CODE, &status,
                               &status_size, nullptr),
                ApiException);
    if (!IsExpected(status)) {
        LOG_LINE(Log::error, u"%s", u"Unexpected HTTP code:\n<<< " + DumpResponse(m_impl->handle));
    }
    CHECK_THROW(200 <= status && status < 400, HttpException, m_impl->handle);
    Response response;
    response.m_impl->handle = std::exchange(m_impl->handle, nullptr);
    response.m_impl->status = status;
    TRACE_EXIT(status);
    return response;
}

HttpException::HttpException(Handle handle, std::u16string_view text)
    : Exception(text.empty() ? GetHttpStatusText(handle) : std::u16string(text)),
      status(static_cast<uint16_t>(QueryStatus(handle))) {}

HttpException::HttpException(const Response& response, std::u16string_view text)
    : HttpException(response.GetHandle(), text) {}

Response Session::SendRequest(const char16_t* verb, const std::u16string& object,
                              const char16_t* const* accept_types, const char16_t* headers, const char* body,
                              ptrdiff_t body_size, bool check_status) {
    TRACE_ENTRY("Http::Session::SendRequest");
    Response response;
    if (body && body_size == 0) body_size = static_cast<ptrdiff_t>(std::strlen(body));
    response.m_impl->handle =
        OpenRequest(m_impl->connect_handle, verb, object, accept_types, m_impl->RequestFlags(kRequestFlags));
    CHECK_THROW(response.m_impl->handle != nullptr, ApiException);
    const Handle handle = response.m_impl->handle;
    AddCookiesToRequest(handle, m_impl->cookies);
    const NoteOfChange note(verb);
    Exchange exchange(*m_impl, handle, headers, body, static_cast<uint32_t>(body_size),
                      ChangesNothing(verb) ? std::chrono::milliseconds() : kPatienceWithChanges);
    uint32_t status = exchange.Run();
    if (WaitWhileBusy(handle, status, verb)) status = exchange.Run();
    response.m_impl->status = status;
    if (!IsExpected(status) && Log::IsOn(Log::error)) {
        std::u16string& text = response.m_impl->request_text;
        text =
            std::u16string(verb) + u" " + MaskForLog(m_impl->scheme + m_impl->host + u"/" + object) + u"\n";
        text += HeadersForLog(exchange.SentHeaders());
        if (!m_impl->cookies.empty()) text += u"Cookie: FedAuth...\n";
        text += u"\n";
        if (body) text += BodyForLog({body, static_cast<size_t>(body_size)}) + u"\n";
    }
    if (check_status) response.CheckStatus();
    TRACE_EXIT(status);
    return response;
}

Request Session::CreateRequest(const std::u16string& object, const char16_t* const* accept_types,
                               uint64_t size, const char16_t* headers_or_null) {
    TRACE_ENTRY("Http::Session::CreateRequest");
    OperationScope::NoteChange();
    Request request;
    request.m_impl->handle = OpenRequest(m_impl->connect_handle, u"PUT", object, accept_types,
                                         m_impl->RequestFlags(kRequestFlags));
    CHECK_THROW(request.m_impl->handle != nullptr, ApiException);
    const std::u16string headers =
        m_impl->HeaderBlock(u"content-length:" + Widen(std::to_string(size)) + u"\n", headers_or_null);
    CHECK_THROW_TEXT(
        HttpAddRequestHeadersW(request.m_impl->handle, headers.c_str(), static_cast<DWORD>(-1), kReplace),
        u"HttpAddRequestHeadersW(request.m_impl->handle, headers.c_str(), -1, "
        u"HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE)",
        ApiException);
    AddCookiesToRequest(request.m_impl->handle, m_impl->cookies);
    SendRequestEx(request.m_impl->handle, size);
    TRACE_EXIT(u"");
    return request;
}

}  // namespace Http
