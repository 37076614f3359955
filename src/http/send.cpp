// The sends themselves. One thread a handle.
#include "base/failure.h"
#include "http/blocking_call.h"
#include "http/retry.h"
#include "http/session_impl.h"
#include "platform/wininet.h"

namespace Http {

uint32_t SendRequest(Handle request_handle, const std::u16string& headers, const char* body,
                     uint32_t body_size, std::chrono::milliseconds patience) {
    TRACE_ENTRY("Http::SendRequest");
    BlockingCall call(request_handle, patience);
    const DWORD send_request_last_error = SendWithRetries(
        [&] {
            return HttpSendRequestW(request_handle, headers.empty() ? nullptr : headers.c_str(),
                                    static_cast<DWORD>(-1), const_cast<char*>(body), body_size) != FALSE;
        },
        trace_function, u"HttpSendRequest needs to be retried, %i retries left");
    call.Finish();
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
    BlockingCall call(request_handle);
    const DWORD send_request_last_error =
        SendWithRetries([&] { return HttpSendRequestExW(request_handle, &buffers, nullptr, 0, 0) != FALSE; },
                        trace_function, u"HttpSendRequestEx needs to be retried, %i retries left");
    call.Finish();
    CHECK_THROW(send_request_last_error == 0, ApiException, send_request_last_error);
    TRACE_EXIT(u"");
}

}  // namespace Http
