// Feeds any bytes to the reading of header blocks and header texts, and to the resolving of redirects.
// One thread.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "internet/headers.h"
#include "internet/target.h"

using namespace platform::internet;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ResponseHeaders block;
    for (std::size_t at = 0; at < size;) {
        const std::size_t end = std::min(text.find('\n', at), size - 1) + 1;
        if (!block.AddLine(text.substr(at, end - at))) break;
        at = end;
    }
    if (block.status() > 999) std::abort();
    for (const std::string& line : block.lines()) FromHeaderBytes(line);
    for (std::size_t i = 0; block.Find("Location", i); ++i) {
        const Target base{true, "host", 443, "/a/b"};
        if (const auto next = Resolve(base, *block.Find("Location", i)))
            if (next->url().find_first_of("\r\n ") != std::string::npos) std::abort();
    }
    RequestHeaders headers;
    headers.Add(FromHeaderBytes(text), HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE);
    for (const Header& header : headers.all())
        if (header.value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) std::abort();
    return 0;
}
