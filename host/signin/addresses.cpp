#include "host/signin/addresses.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <memory>
#include <optional>

namespace host {

namespace {

// A part as the program that connects reads it.
std::optional<std::string> PartOf(CURLU* url, CURLUPart part) {
    char* raw = nullptr;
    if (curl_url_get(url, part, &raw, 0) != CURLUE_OK) return std::nullopt;
    const std::unique_ptr<char, decltype(&curl_free)> text(raw, curl_free);
    return std::string(text.get());
}

// Names and passwords in it, or characters that some take for the end of the host, hide where it leads.
bool IsPlainAuthority(const std::string& url) {
    const std::size_t start = url.find("://");
    if (start == std::string::npos) return false;
    const std::string authority = url.substr(start + 3, url.find('/', start + 3) - start - 3);
    return authority.find_first_of("@\\?#% ") == std::string::npos;
}

bool IsLoopback(const std::string& host) {
    if (curl_strequal(host.c_str(), "localhost") || host == "[::1]") return true;
    in_addr address{};
    return inet_pton(AF_INET, host.c_str(), &address) == 1 && ntohl(address.s_addr) >> 24 == 127;
}

std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> Parse(const std::string& url) {
    std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parts(curl_url(), curl_url_cleanup);
    if (!parts || !IsPlainAuthority(url) ||
        curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), CURLU_URLENCODE) != CURLUE_OK)
        parts.reset();
    return parts;
}

}  // namespace

bool IsThisMachine(const std::string& url) {
    const auto parts = Parse(url);
    const auto scheme = parts ? PartOf(parts.get(), CURLUPART_SCHEME) : std::nullopt;
    const auto host = parts ? PartOf(parts.get(), CURLUPART_HOST) : std::nullopt;
    return host && (scheme == "http" || scheme == "https") && IsLoopback(*host);
}

bool IsPrivateWay(const std::string& url) {
    constexpr char kTls[] = "https://";
    return curl_strnequal(url.c_str(), kTls, sizeof(kTls) - 1) || IsThisMachine(url);
}

}  // namespace host
