#include "afs/document/download_check.h"

#include <algorithm>

#include "base/failure.h"
#include "base/text/ignore_case.h"

namespace Afs {

namespace {

constexpr std::u16string_view kPageExtensions[] = {u".htm", u".html",  u".aspx",
                                                   u".mht", u".mhtml", u".xhtml"};

bool IsPageName(const std::u16string& file_name) {
    return std::any_of(
        std::begin(kPageExtensions), std::end(kPageExtensions),
        [&](std::u16string_view extension) { return EndsWithIgnoringAsciiCase(file_name, extension); });
}

bool IsPage(const Http::Response& response) {
    for (const std::u16string& type : response.GetHeaders(u"Content-Type")) {
        if (StartsWithIgnoringAsciiCase(type, u"text/html")) return true;
    }
    return false;
}

std::optional<LONGLONG> ReadLength(const std::u16string& digits) {
    static constexpr size_t kMaxDigits = 18;
    if (digits.empty() || digits.size() > kMaxDigits) return std::nullopt;
    LONGLONG length = 0;
    for (const char16_t c : digits) {
        if (c < u'0' || c > u'9') return std::nullopt;
        length = length * 10 + (c - u'0');
    }
    return length;
}

}  // namespace

void CheckIsDocument(const Http::Response& response, const std::u16string& file_name) {
    TRACE_NAME("CheckIsDocument");
    if (response.GetStatus() < 200 || response.GetStatus() > 299) {
        const Http::HttpException failure(response);
        Failure::LogThrow(trace_function, u"200 <= status && status < 300", failure.message);
        throw failure;
    }
    CHECK_THROW(!IsPage(response) || IsPageName(file_name), Exception,
                u"The server sent a web page instead of the document. Please sign in to the site again.");
}

void CheckIsNoPage(const Http::Response& response) {
    TRACE_NAME("CheckIsNoPage");
    CHECK_THROW(
        !IsPage(response), Exception,
        u"The server answered the upload with a web page, so the document is not saved there. Please sign in "
        u"to the site again.");
}

std::optional<LONGLONG> GetAnnouncedLength(const Http::Response& response, LONGLONG document_size) {
    if (!response.GetHeaders(u"Transfer-Encoding").empty()) return std::nullopt;
    const std::vector<std::u16string> values = response.GetHeaders(u"Content-Length");
    return values.empty() ? document_size : ReadLength(values.front()).value_or(document_size);
}

}  // namespace Afs
