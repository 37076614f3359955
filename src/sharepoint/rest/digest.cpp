// Rules of the request digest. A plain value.
#include "sharepoint/rest/digest.h"

#include "plugin/log.h"

namespace SharePointRestAPI {

namespace {
constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int64_t kMargin = 5 * kNanosecondsPerSecond;
}  // namespace

bool RequestDigest::IsReusable(int64_t now) const {
    return !text.empty() && now - kMargin >= expiry;
}

bool RequestDigest::Read(const Json::Value& answer, int64_t now) {
    TRACE_NAME("SharePointRestAPI::Web::GetDigest");
    const Json::Value* information =
        Json::ObjectMember(Json::ObjectMember(&answer, u"d"), u"GetContextWebInformation");
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

}  // namespace SharePointRestAPI
