// Stored cookie headers may be of any shape: what was read is written and read again to the same cookies.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "base/text/encoding.h"
#include "http/cookies.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::u16string header = FromUtf8({reinterpret_cast<const char*>(data), size});
    Http::CookieList cookies;
    try {
        Http::ParseCookieHeader(header, cookies);
    } catch (const std::out_of_range&) {
        return 0;
    }
    std::u16string text;
    Http::FormatCookieHeader(cookies, text);
    Http::CookieList again;
    Http::ParseCookieHeader(text, again);
    if (again.size() != cookies.size()) abort();
    if (!cookies.empty()) cookies.back().second += u"\n";
    // A blank in front of the added line feed is no longer at the end, so only whole trimmed values are
    // equal.
    for (size_t at = 0; at < cookies.size(); ++at) {
        if (again[at] != cookies[at]) abort();
    }
    return 0;
}
