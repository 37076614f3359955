// Rules of the request digest. A plain value.
#include "sharepoint/request_digest.h"

#include <chrono>

#include "plugin/log.h"

namespace SharePoint {

namespace {
constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int64_t kMargin = 5 * kNanosecondsPerSecond;
}  // namespace

bool RequestDigest::IsReusable(int64_t now) const {
    return !text.empty() && now - kMargin >= expiry;
}

int64_t RequestDigest::Now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool RequestDigest::Read(const char* trace_function, const Json::Value* information, int64_t now) {
    const Json::Value* value = Json::Member(information, u"FormDigestValue");
    if (!value || !value->IsString()) {
        LOG_LINE(Log::error, u"Request digest JSON has no required member 'FormDigestValue'");
        return false;
    }
    text = Json::Text(value);
    const Json::Value* seconds = Json::Member(information, u"FormDigestTimeoutSeconds");
    if (seconds && seconds->IsUint()) {
        expiry = now + static_cast<int64_t>(seconds->GetUint()) * kNanosecondsPerSecond;
    } else {
        LOG_LINE(Log::warning, u"Request digest JSON has no member 'FormDigestTimeoutSeconds'");
    }
    return true;
}

}  // namespace SharePoint
