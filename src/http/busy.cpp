#include "http/busy.h"

#include <algorithm>

#include "base/log.h"
#include "base/operation_scope.h"

namespace Http {

namespace {

constexpr uint32_t kProxyUnauthorized = 407;
constexpr uint32_t kTooManyRequests = 429;
constexpr uint32_t kUnavailable = 503;
constexpr std::chrono::seconds kLongestWait(30);
constexpr size_t kMostDigits = 6;

}  // namespace

bool IsAnsweredByNobody(uint32_t status) {
    return status == kProxyUnauthorized || status == kTooManyRequests || status == kUnavailable;
}

bool ChangesNothing(std::u16string_view verb) {
    constexpr std::u16string_view kVerbs[] = {u"GET", u"HEAD", u"OPTIONS", u"PROPFIND"};
    return std::ranges::find(kVerbs, verb) != std::end(kVerbs);
}

std::optional<std::chrono::seconds> GetRetryAfter(Handle handle, uint32_t status) {
    if (status != kTooManyRequests && status != kUnavailable) return std::nullopt;
    const auto values = GetHeaders(handle, u"Retry-After");
    if (values.empty() || values.front().empty() || values.front().size() > kMostDigits) return std::nullopt;
    int seconds = 0;
    for (const char16_t c : values.front()) {
        if (c < u'0' || c > u'9') return std::nullopt;
        seconds = seconds * 10 + (c - u'0');
    }
    return std::chrono::seconds(seconds);
}

bool WaitWhileBusy(Handle handle, uint32_t status, std::u16string_view verb) {
    TRACE_NAME("Http::WaitWhileBusy");
    if (!ChangesNothing(verb)) return false;
    const auto wait = GetRetryAfter(handle, status);
    if (!wait || *wait > kLongestWait) return false;
    LOG_LINE(Log::warning, u"The server is busy (HTTP %u), asking again in %llu s", status,
             static_cast<uint64_t>(wait->count()));
    return OperationScope::Sleep(*wait);
}

}  // namespace Http
