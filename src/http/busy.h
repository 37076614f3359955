// What a busy server (429, 503) says about when to ask again. Stateless.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

#include "http/handle.h"

namespace Http {

// The seconds in `Retry-After`; nothing for any other status, and without a number of seconds.
std::optional<std::chrono::seconds> GetRetryAfter(Handle handle, uint32_t status);

// Whether a status comes from a proxy that wants a password or from a busy server: it answers no question.
bool IsAnsweredByNobody(uint32_t status);
// The code of such a status where no sentence can go with it: facility 25 is HTTP's (MS-ERREF, section 2.1).
constexpr HRESULT StatusToResult(uint32_t status) {
    return static_cast<HRESULT>(0x80190000 | status);
}

// Whether a request of this verb leaves the server as it is.
bool ChangesNothing(std::u16string_view verb);

// Waits as long as the server asks, at most half a minute, for a request that changes nothing. False when the
// request isn't to be sent again: another status or verb, too long a wait, or a cancelled operation.
bool WaitWhileBusy(Handle handle, uint32_t status, std::u16string_view verb);

}  // namespace Http
