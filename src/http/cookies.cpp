#include "http/cookies.h"

#include "base/failure.h"
#include "platform/wininet.h"

namespace Http {

namespace {

constexpr std::u16string_view kName = u"Cookie:";

std::u16string_view Trim(std::u16string_view text) {
    while (text.starts_with(u' ')) text.remove_prefix(1);
    while (text.ends_with(u' ')) text.remove_suffix(1);
    return text;
}

}  // namespace

void FormatCookieHeader(const CookieList& cookies, std::u16string& text) {
    text = u"Cookie: ";
    for (const auto& [name, value] : cookies) {
        if (&name != &cookies.front().first) text += u"; ";
        text += name + u"=" + value;
    }
    text += u"\n";
}

void ParseCookieHeader(const std::u16string& header, CookieList& cookies) {
    TRACE_ENTRY("Http::ParseCookieHeader");
    const size_t start = header.find(kName);
    if (start == std::u16string::npos) {
        TRACE_EXIT(u"no cookies");
        return;
    }
    // Substr is what refuses a header of nothing but blanks.
    const std::u16string rest = header.substr(header.find_first_not_of(u' ', start + kName.size()));
    for (std::u16string_view left = rest; !left.empty();) {
        const size_t end = left.find(u';');
        const std::u16string_view piece = left.substr(0, end);
        left.remove_prefix(end == std::u16string_view::npos ? left.size() : end + 1);
        const size_t equals = piece.find(u'=');
        if (equals == std::u16string_view::npos) continue;
        cookies.emplace_back(Trim(piece.substr(0, equals)), Trim(piece.substr(equals + 1)));
    }
    TRACE_EXIT(u"");
}

bool AddCookiesToRequest(void* request_handle, const CookieList& cookies) {
    TRACE_ENTRY("Http::AddCookiesToRequest");
    if (cookies.empty()) {
        TRACE_EXIT(u"false");
        return false;
    }
    std::u16string text;
    FormatCookieHeader(cookies, text);
    const bool added = HttpAddRequestHeadersW(request_handle, text.c_str(), static_cast<DWORD>(-1),
                                              HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE) != FALSE;
    TRACE_EXIT(added ? u"true" : u"false");
    return added;
}

}  // namespace Http
