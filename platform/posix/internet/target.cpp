#include "internet/target.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "internet/headers.h"

namespace platform::internet {

namespace {

struct UrlCloser {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using Url = std::unique_ptr<CURLU, UrlCloser>;

std::string UrlPart(CURLU* url, CURLUPart part, unsigned flags) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK || !text) return {};
    std::string copy = text;
    curl_free(text);
    return copy;
}

std::string PercentEncode(std::string_view bytes, std::string_view forbidden) {
    constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= 0x20 || byte >= 0x7F || forbidden.find(c) != std::string_view::npos) {
            out += '%';
            out += kHex[byte >> 4];
            out += kHex[byte & 15];
        } else {
            out += c;
        }
    }
    return out;
}

}  // namespace

std::string Target::origin() const {
    std::string text = (secure ? "https://" : "http://") + host + ":" + std::to_string(port);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; });
    return text;
}

std::string Target::url() const {
    const INTERNET_PORT usual = secure ? INTERNET_DEFAULT_HTTPS_PORT : INTERNET_DEFAULT_HTTP_PORT;
    return (secure ? "https://" : "http://") + host + (port == usual ? "" : ":" + std::to_string(port)) +
           object;
}

std::optional<std::string> MakeHost(std::u16string_view server) {
    std::string host = ToUtf8(server);
    const auto forbidden = [](char c) {
        return static_cast<unsigned char>(c) <= 0x20 ||
               std::string_view("/\\?#@%<>\"^`{|}\x7F").find(c) != std::string_view::npos;
    };
    if (host.empty() || std::any_of(host.begin(), host.end(), forbidden)) return std::nullopt;
    const bool bare_address = host.front() != '[' && std::count(host.begin(), host.end(), ':') > 1;
    if (bare_address) return "[" + host + "]";
    if (host.front() != '[' && host.find_first_of(":[]") != std::string::npos) return std::nullopt;
    if (host.front() == '[' && host.find(']') != host.size() - 1) return std::nullopt;
    return host;
}

std::string MakeObject(std::u16string_view object) {
    // A number sign belongs to the name here: fragments are not sent to servers.
    std::string encoded = PercentEncode(ToUtf8(object), "#");
    if (encoded.empty() || encoded.front() != '/') encoded.insert(encoded.begin(), '/');
    return encoded;
}

std::optional<Target> Resolve(const Target& base, std::string_view location) {
    const Url url(curl_url());
    const std::string next = PercentEncode(location, "");
    if (!url || curl_url_set(url.get(), CURLUPART_URL, base.url().c_str(), CURLU_PATH_AS_IS) != CURLUE_OK ||
        curl_url_set(url.get(), CURLUPART_URL, next.c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    const std::string scheme = UrlPart(url.get(), CURLUPART_SCHEME, 0);
    const std::string port = UrlPart(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    const std::string path = UrlPart(url.get(), CURLUPART_PATH, 0);
    const std::string query = UrlPart(url.get(), CURLUPART_QUERY, 0);
    Target target;
    target.secure = EqualsIgnoringCase(scheme, "https");
    if (!target.secure && !EqualsIgnoringCase(scheme, "http")) return std::nullopt;
    target.host = UrlPart(url.get(), CURLUPART_HOST, 0);
    target.port = static_cast<INTERNET_PORT>(port.empty() ? 0 : std::stoul(port));
    target.object = (path.empty() ? "/" : path) + (query.empty() ? "" : "?" + query);
    if (target.host.empty() || !target.port) return std::nullopt;
    return target;
}

std::string ProxyOf(bool secure) {
    // As libcurl reads them: a variable in capitals could be set by a header of a request to a web server.
    const auto names = secure ? std::vector{"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}
                              : std::vector{"http_proxy", "all_proxy", "ALL_PROXY"};
    const auto is_set = [](const char* name) { return std::getenv(name) && *std::getenv(name); };
    const auto found = std::find_if(names.begin(), names.end(), is_set);
    if (found == names.end()) return {};
    const Url url(curl_url());
    const unsigned flags = CURLU_GUESS_SCHEME | CURLU_NON_SUPPORT_SCHEME;
    if (!url || curl_url_set(url.get(), CURLUPART_URL, std::getenv(*found), flags) != CURLUE_OK)
        return std::getenv(*found);
    const std::string port = UrlPart(url.get(), CURLUPART_PORT, 0);
    return UrlPart(url.get(), CURLUPART_SCHEME, 0) + "://" + UrlPart(url.get(), CURLUPART_HOST, 0) + ":" +
           port;
}

std::string ProxyHostOf(bool secure) {
    const std::string proxy = ProxyOf(secure);
    const Url url(curl_url());
    if (!url || curl_url_set(url.get(), CURLUPART_URL, proxy.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK)
        return {};
    return UrlPart(url.get(), CURLUPART_HOST, 0);
}

bool MayShareSecrets(const Target& from, const Target& to) {
    if (!EqualsIgnoringCase(from.host, to.host)) return false;
    if (from.secure == to.secure) return from.port == to.port;
    const bool usual_upgrade = !from.secure && from.port == INTERNET_DEFAULT_HTTP_PORT && to.secure &&
                               to.port == INTERNET_DEFAULT_HTTPS_PORT;
    return usual_upgrade;
}

}  // namespace platform::internet
