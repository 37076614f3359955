#include "sharepoint/request_digest.h"

#include <chrono>

#include "base/failure.h"
#include "base/log.h"
#include "sharepoint/reading.h"

namespace SharePoint {

namespace {
constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int64_t kMargin = 5 * kNanosecondsPerSecond;
}  // namespace

// docs/compatibility.md: A young digest is fetched again
bool RequestDigest::IsReusable(int64_t now) const {
    return !text.empty() && now - kMargin >= expiry;
}

bool HasDigest(const char* trace_function, const std::u16string& digest) {
    if (digest.empty()) LOG_LINE(Log::error, u"Failed to get Request Digest");
    return !digest.empty();
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

void DigestKeeper::Drop(const std::u16string& digest) {
    const std::lock_guard guard(m_guard);
    if (m_digest.text == digest) m_digest.text.clear();
}

bool DigestKeeper::DropReused() {
    const std::lock_guard guard(m_guard);
    if (!m_was_reused) return false;
    m_digest.text.clear();
    return true;
}

std::u16string DigestKeeper::Get(const char* trace_function, Http::Session& http,
                                 const std::u16string& web_path, const char16_t* const* accept,
                                 bool is_verbose) {
    const int64_t now = RequestDigest::Now();
    {
        const std::lock_guard guard(m_guard);
        m_was_reused = m_digest.IsReusable(now);
        if (m_was_reused) {
            TRACE_EXIT(u"non-empty digest");
            return m_digest.text;
        }
        m_digest.text.clear();
    }
    // Without the lock: the request may wait for the user on another thread.
    Json::Document document;
    const Http::Response response = http.SendRequest(u"POST", web_path + u"/_api/contextinfo", accept,
                                                     nullptr, nullptr, 0, /*check_status=*/true);
    if (!SharePoint2010::Utility::ReadJson(document, response)) return {};
    const Json::Value* information = &document.Root();
    if (is_verbose) {
        information = Json::ObjectMember(Json::ObjectMember(information, u"d"), u"GetContextWebInformation");
    }
    const std::lock_guard guard(m_guard);
    if (!m_digest.Read(trace_function, information, now)) return {};
    if (!m_digest.text.empty()) TRACE_EXIT(u"non-empty digest");
    return m_digest.text;
}

}  // namespace SharePoint
