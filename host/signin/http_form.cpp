#include "host/signin/http_form.h"

#include <curl/curl.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "host/base/failure.h"
#include "host/base/interrupt.h"
#include "host/base/posix_file.h"
#include "host/base/text.h"
#include "host/signin/addresses.h"

namespace host {

namespace {

constexpr std::size_t kMaxAnswer = 1u << 20;

std::size_t Collect(char* data, std::size_t size, std::size_t count, void* target) {
    auto& body = *static_cast<std::string*>(target);
    if (body.size() + size * count > kMaxAnswer) return 0;
    body.append(data, size * count);
    return size * count;
}

bool IsCanceled(const SignInNotice* notice) {
    return InterruptFlag() || (notice && notice->IsCanceled());
}

int OnProgress(void* notice, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return IsCanceled(static_cast<const SignInNotice*>(notice)) ? 1 : 0;
}

DWORD CodeOf(CURLcode code) {
    switch (code) {
        case CURLE_OPERATION_TIMEDOUT:
            return 12002;
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            return 12007;
        case CURLE_COULDNT_CONNECT:
            return 12029;
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CONNECT_ERROR:
            return 12175;
        default:
            return 12030;
    }
}

// A private authority's certificates, added to those of the system.
std::string MoreCertificates() {
    const char* file = std::getenv("SSL_CERT_FILE");
    if (!file || !*file) return {};
    const auto own = ReadWhole(file);
    if (!own) throw Failure(E_INVALIDARG, std::string("SSL_CERT_FILE names ") + file + ", which isn't there");
    const auto system = ReadWhole("/etc/ssl/certs/ca-certificates.crt");
    return system.value_or("") + "\n" + *own;
}

void RequireProxysConsent(CURL* curl) {
    long of_tunnel = 0;
    long of_answer = 0;
    curl_easy_getinfo(curl, CURLINFO_HTTP_CONNECTCODE, &of_tunnel);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &of_answer);
    if (of_tunnel != 407 && of_answer != 407) return;
    throw Failure(E_ACCESSDENIED,
                  "the proxy asks for a name and a password; they belong into its address, in http_proxy or "
                  "https_proxy");
}

}  // namespace

void RequirePrivateWay(const std::string& url) {
    if (!IsPrivateWay(url))
        throw Failure(E_INVALIDARG, "the sign-in address " + PlainLine(url) + " is not an https address");
}

FormAnswer PostForm(const std::string& url, const std::vector<std::pair<std::string, std::string>>& fields,
                    const SignInNotice* notice) {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    RequirePrivateWay(url);
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
    if (!curl) throw std::bad_alloc();
    std::string form;
    for (const auto& [name, value] : fields) {
        const std::unique_ptr<char, decltype(&curl_free)> escaped(
            curl_easy_escape(curl.get(), value.data(), static_cast<int>(value.size())), curl_free);
        if (!escaped) throw std::bad_alloc();
        form += (form.empty() ? "" : "&") + name + "=" + escaped.get();
    }
    FormAnswer answer;
    std::array<char, CURL_ERROR_SIZE> reason{};
    const std::string certificates = MoreCertificates();
    const auto set = [&](CURLoption option, auto value) { curl_easy_setopt(curl.get(), option, value); };
    set(CURLOPT_URL, url.c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_POSTFIELDSIZE, static_cast<long>(form.size()));
    set(CURLOPT_POSTFIELDS, form.c_str());
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_CONNECTTIMEOUT, 30L);
    set(CURLOPT_TIMEOUT, 60L);
    set(CURLOPT_WRITEFUNCTION, &Collect);
    set(CURLOPT_WRITEDATA, static_cast<void*>(&answer.body));
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, &OnProgress);
    set(CURLOPT_XFERINFODATA, const_cast<SignInNotice*>(notice));
    set(CURLOPT_ERRORBUFFER, reason.data());
    curl_blob blob{const_cast<char*>(certificates.data()), certificates.size(), CURL_BLOB_NOCOPY};
    if (!certificates.empty()) set(CURLOPT_CAINFO_BLOB, &blob);
    const CURLcode code = curl_easy_perform(curl.get());
    RequireProxysConsent(curl.get());
    if (code != CURLE_OK) {
        if (IsCanceled(notice)) throw Failure(kCanceled, "the sign-in was interrupted");
        const std::string why = reason[0] ? reason.data() : curl_easy_strerror(code);
        throw Failure(HRESULT_FROM_WIN32(CodeOf(code)), "the sign-in server can't be reached: " + why);
    }
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &answer.status);
    return answer;
}

}  // namespace host
