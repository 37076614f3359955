#include "http/log_text.h"

#include <algorithm>
#include <array>

#include "base/log.h"
#include "base/text/encoding.h"
#include "base/text/ignore_case.h"
#include "http/handle.h"

namespace Http {

namespace {

// More of a body wouldn't fit into a line of the log.
constexpr size_t kMaxBody = 8 * 1024;

enum class Shown {
    nothing,  // "Name: ..."
    scheme,   // "Name: Word ..."
    masked,   // letters and digits replaced
};

struct HeaderRule {
    std::u16string_view name;
    Shown shown;
};

constexpr HeaderRule kHeaderRules[] = {
    {u"Authorization", Shown::scheme},
    {u"Proxy-Authorization", Shown::scheme},
    {u"Cookie", Shown::nothing},
    {u"Set-Cookie", Shown::nothing},
    {u"X-RequestDigest", Shown::nothing},
    {u"Authentication-Info", Shown::nothing},
    {u"WWW-Authenticate", Shown::masked},
    {u"Proxy-Authenticate", Shown::masked},
    {u"Destination", Shown::masked},
    {u"Location", Shown::masked},
    {u"Content-Location", Shown::masked},
    {u"Content-Disposition", Shown::masked},
    {u"X-MSDAVEXT_Error", Shown::masked},
    {u"X-Forms_Based_Auth_Required", Shown::masked},
    {u"X-Forms_Based_Auth_Return_Url", Shown::masked},
};

const HeaderRule* FindRule(std::u16string_view name) {
    for (const HeaderRule& rule : kHeaderRules) {
        if (EqualIgnoringCase(rule.name, name)) return &rule;
    }
    return nullptr;
}

std::u16string WithoutSecret(std::u16string_view name, std::u16string_view value, Shown shown) {
    std::u16string line(name);
    line += u": ";
    const size_t blank = value.find(u' ');
    if (shown == Shown::scheme && blank != std::u16string_view::npos) line += value.substr(0, blank + 1);
    return line + u"...";
}

// What a server names a failure by: the code of a JSON error or of a SOAP fault. It holds numbers and names
// of the server's own classes.
std::string_view FindErrorCode(std::string_view body) {
    struct Place {
        std::string_view start, begin;
        char end;
    };
    static constexpr Place kPlaces[] = {
        {"\"code\"", "\"", '"'}, {"<errorcode", ">", '<'}, {"<m:code", ">", '<'}};
    static constexpr size_t kLongest = 120;
    for (const Place& place : kPlaces) {
        const size_t start = body.find(place.start);
        if (start == std::string_view::npos) continue;
        const size_t begin = body.find(place.begin, start + place.start.size());
        if (begin == std::string_view::npos) continue;
        std::string_view code = body.substr(begin + 1, kLongest + 1);
        code = code.substr(0, code.find(place.end));
        const bool is_code = std::all_of(code.begin(), code.end(), [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
                   c == ',' || c == '.' || c == ' ';
        });
        if (!code.empty() && code.size() <= kLongest && is_code) return code;
    }
    return {};
}

}  // namespace

std::u16string HeaderLineForLog(std::u16string_view line) {
    for (const std::u16string_view cookie : {u"Cookie: FedAuth", u"Cookie: rtFa"}) {
        if (line.find(cookie) != std::u16string_view::npos) return std::u16string(cookie) + u"...";
    }
    const size_t colon = line.find(u':');
    const std::u16string_view name = line.substr(0, colon);
    if (colon == std::u16string_view::npos) return std::u16string(line);
    std::u16string_view value = line.substr(colon + 1);
    while (value.starts_with(u' ')) value.remove_prefix(1);
    const HeaderRule* rule = FindRule(name);
    if (rule && rule->shown != Shown::masked) return WithoutSecret(name, value, rule->shown);
    if (!rule && line.find(u"://") == std::u16string_view::npos) return std::u16string(line);
    return std::u16string(line.substr(0, colon + 1)) + MaskForLog(std::u16string(line.substr(colon + 1)));
}

std::u16string HeadersForLog(std::u16string_view headers) {
    std::u16string text;
    while (!headers.empty()) {
        const size_t end = headers.find(u'\n');
        text += HeaderLineForLog(headers.substr(0, end)) + u"\n";
        headers.remove_prefix(end == std::u16string_view::npos ? headers.size() : end + 1);
    }
    return text;
}

std::u16string BodyForLog(std::string_view body) {
    std::u16string text = MaskForLog(FromUtf8(body.substr(0, kMaxBody)));
    return body.size() > kMaxBody ? text + u"..." : text;
}

std::u16string DumpResponse(Handle handle) {
    TRACE_ENTRY("Http::DumpResponse");
    std::u16string text = MaskForLog(GetRequestUri(handle)) + u"\n";
    for (const std::u16string& line : GetHeaders(handle)) text += HeaderLineForLog(line) + u"\n";
    std::string body;
    std::array<char, 1024> block;
    // A body that breaks off changes nothing of what the status says.
    bool is_whole = true;
    try {
        while (body.size() <= kMaxBody) {
            const size_t size = ReadBody(handle, block.data(), block.size());
            if (size == 0) break;
            body.append(block.data(), size);
        }
    } catch (const Exception&) {
        is_whole = false;
    }
    if (const std::string_view code = FindErrorCode(body); !code.empty())
        text += u"Error code: " + FromUtf8(code) + u"\n";
    text += BodyForLog(body) + (is_whole ? u"\n" : u"...\n");
    TRACE_EXIT(u"");
    return text;
}

}  // namespace Http
