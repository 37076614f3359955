// The rule of repeated sends. Stateless.
#pragma once

#include "base/log.h"
#include "platform/base.h"
#include "platform/wininet.h"

namespace Http {

// docs/compatibility.md: A retried send counts as failed
// Calls `send` up to three times, at once, while the internet layer asks for a retry. Gives the error that
// the sends came upon, also when a later one went through; 0 for a success at once.
template <typename Send>
DWORD SendWithRetries(Send send, const char* function, const char16_t* retry_text) {
    DWORD error = 0;
    if (send()) return error;
    for (int retries = 3;;) {
        error = GetLastError();
        if (error != ERROR_RETRY && error != ERROR_INTERNET_FORCE_RETRY) return error;
        if (--retries < 1) return error;
        if (Log::IsOn(Log::information)) {
            Log::Write(Log::information, function, Log::Format(retry_text, retries));
        }
        if (send()) return error;
    }
}

}  // namespace Http
