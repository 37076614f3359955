// The sends themselves: one try after another while the internet layer asks for it, without a pause.
#include "http/session_impl.h"
#include "platform/wininet.h"
#include "plugin/failure.h"

namespace Http {

namespace {

constexpr int kTries = 3;

bool AsksForRetry(DWORD error) {
    return error == ERROR_RETRY || error == ERROR_INTERNET_FORCE_RETRY;
}

// The error that the tries came upon, also when a later one went through; 0 for a success at once.
template <typename Send>
DWORD SendWithRetries(Send send, const char* function, const char16_t* retry_text) {
    DWORD error = 0;
    if (send()) return error;
    for (int retries = kTries;;) {
        error = GetLastError();
        if (!AsksForRetry(error) || --retries < 1) return error;
        if (Log::IsOn(Log::information)) {
            Log::Write(Log::information, function, Log::Format(retry_text, retries));
        }
        if (send()) return error;
    }
}

}  // namespace

uint32_t SendRequest(Handle request_handle, const std::u16string& headers, const char* body,
                     uint32_t body_size) {
    TRACE_ENTRY("Http::SendRequest");
    const DWORD send_request_last_error = SendWithRetries(
        [&] {
            return HttpSendRequestW(request_handle, headers.empty() ? nullptr : headers.c_str(),
                                    static_cast<DWORD>(-1), const_cast<char*>(body), body_size) != FALSE;
        },
        trace_function, u"HttpSendRequest needs to be retried, %i retries left");
    CHECK_THROW(send_request_last_error == 0, ApiException, send_request_last_error);
    DWORD status = 0;
    DWORD status_size = sizeof(status);
    CHECK_THROW(HttpQueryInfoW(request_handle, HTTP_QUERY_FLAG_NUMBER | HTTP_QUERY_STATUS_CODE, &status,
                               &status_size, nullptr),
                ApiException);
    TRACE_EXIT(status);
    return status;
}

void SendRequestEx(Handle request_handle, uint64_t content_length) {
    TRACE_ENTRY("Http::SendRequestEx");
    INTERNET_BUFFERSW buffers{};
    buffers.dwStructSize = sizeof(buffers);
    buffers.dwBufferTotal = static_cast<DWORD>(content_length);
    const DWORD send_request_last_error =
        SendWithRetries([&] { return HttpSendRequestExW(request_handle, &buffers, nullptr, 0, 0) != FALSE; },
                        trace_function, u"HttpSendRequestEx needs to be retried, %i retries left");
    CHECK_THROW(send_request_last_error == 0, ApiException, send_request_last_error);
    TRACE_EXIT(u"");
}

}  // namespace Http
