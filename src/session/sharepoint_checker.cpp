#include "session/sharepoint_checker.h"

#include "base/failure.h"
#include "base/url.h"
#include "session/session.h"

namespace Utility::SharepointChecker {
namespace {

// The web address to probe, empty when the string is none.
std::u16string ToProbedUrl(const std::u16string& url) {
    TRACE_NAME("SharepointChecker::IsSharePoint");
    if (IsDirectUrl(url) || IsFileLinkUrl(url)) {
        LOG_LINE(Log::information, u"SharePoint URL '%s'", MaskForLog(url));
        return url;
    }
    std::u16string converted = WebDavPathToUrl(url);
    if (converted.empty()) {
        LOG_LINE(Log::warning, u"invalid URL/Link/WebDav %s", MaskForLog(url));
    } else {
        LOG_LINE(Log::information, u"WebDav URL '%s' -> '%s'", MaskForLog(url), MaskForLog(converted));
    }
    return converted;
}

}  // namespace

bool IsSharePoint(const std::u16string& url) {
    TRACE_ENTRY("SharepointChecker::IsSharePoint");
    const std::u16string probed = ToProbedUrl(url);
    const bool answer = !probed.empty() && Session::IsSharePoint(probed);
    LOG_LINE(Log::information, u"%s", answer ? u"true" : u"false");
    TRACE_EXIT(answer ? u"true" : u"false");
    return answer;
}

}  // namespace Utility::SharepointChecker
