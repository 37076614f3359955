// Whether a URL is served by SharePoint: a throw-away connection that asks nobody.
#include "base/failure.h"
#include "http/session.h"
#include "session/session.h"
#include "sharepoint/legacy/web.h"

namespace {

// A server that asks for a sign-in has shown that it is there.
void SetTraps(Http::Session& http, bool& answer) {
    TRACE_NAME("Session::IsSharePoint");
    http.SetOnCredentials([&answer](Http::Session::Credentials&, const char16_t*, const char16_t*) {
        LOG_LINE(Log::information, u"get credentials");
        answer = true;
        throw HResultException(E_CANCELED);
    });
    http.SetOnAuthCookies(
        [&answer](Http::Session::AuthCookies&, const char16_t*, const char16_t*, const char16_t*) {
            LOG_LINE(Log::information, u"web auth");
            answer = true;
            throw HResultException(E_CANCELED);
        });
}

void Probe(const std::u16string& url, bool& answer) {
    TRACE_NAME("Session::IsSharePoint");
    std::u16string scheme;
    std::u16string host;
    std::u16string path;
    uint16_t port = 0;
    Http::Session::CrackUri(url.c_str(), &scheme, &host, &port, nullptr, &path);
    const std::shared_ptr<Http::Session> http = Http::Session::Create(scheme, host, port, {}, {});
    LOG_LINE(Log::information, u"got session");
    if (!SharePoint2013::Web::IsCompatible(http, path)) {
        LOG_LINE(Log::warning, u"no SharePoint service");
        return;
    }
    SetTraps(*http, answer);
    if (SharePoint2013::Web::Create(http, url)) {
        LOG_LINE(Log::information, u"web created");
        answer = true;
    } else {
        LOG_LINE(Log::warning, u"web creation failed");
    }
}

}  // namespace

bool Session::IsSharePoint(const std::u16string& url) {
    TRACE_ENTRY("Session::IsSharePoint");
    bool answer = false;
    try {
        Probe(url, answer);
    } catch (const Http::HttpException& failure) {
        LOG_LINE(Log::error, u"HttpException(%d)", failure.status);
    } catch (const HResultException& failure) {
        const bool is_canceled = failure.code == E_CANCELED;
        LOG_LINE(is_canceled ? Log::information : Log::error, u"HResultException(%d)", failure.code);
        if (!is_canceled) throw;
    } catch (...) {
        LOG_LINE(Log::error, u"Exception on url %s", MaskForLog(url));
        throw;
    }
    TRACE_EXIT(answer ? u"true" : u"false");
    return answer;
}
