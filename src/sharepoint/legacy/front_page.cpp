#include "sharepoint/legacy/front_page.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

#include "base/failure.h"
#include "base/log.h"
#include "base/text/encoding.h"
#include "base/url.h"
#include "http/log_text.h"
#include "sharepoint/legacy/protocol.h"
#include "sharepoint/reading.h"

namespace FrontPage {

namespace {

constexpr char16_t kHeaders[] =
    u"Content-Type: application/x-www-form-urlencoded\n"
    u"X-Vermeer-Content-Type: application/x-www-form-urlencoded";

constexpr std::u16string_view kCantEdit[] = {
    u"<li>vti_canmaybeedit\n<li>BX|false\n", u"<li>vti_canmaybeedit\n<li>BX|f\n",
    u"<li>vti_canmaybeedit\n<li>BX|0\n",     u"<li>vti_canmaybeedit\r\n<li>BX|false\r\n",
    u"<li>vti_canmaybeedit\r\n<li>BX|f\r\n", u"<li>vti_canmaybeedit\r\n<li>BX|0\r\n",
};

constexpr std::u16string_view kUserName[] = {u"<li>vti_username\n<li>SX|", u"<li>vti_username\r\n<li>SX|"};

constexpr struct {
    std::string_view name;
    char16_t character;
} kEntities[] = {{"quot", u'"'},  {"QUOT", u'"'}, {"amp", u'&'}, {"AMP", u'&'}, {"apos", u'\''},
                 {"APOS", u'\''}, {"lt", u'<'},   {"LT", u'<'},  {"gt", u'>'},  {"GT", u'>'}};

std::u16string Call(Http::Session& http, const std::u16string& web_path, const std::string& body) {
    std::u16string address = web_path;
    if (!address.empty() && !address.ends_with(u'/')) address += u'/';
    address += u"_vti_bin/_vti_aut/author.dll";
    std::u16string answer;
    SharePoint2013::Utility::ReadString(
        answer, http.SendRequest(u"POST", address, SharePoint2013::kAcceptAny, kHeaders, body.data(),
                                 static_cast<ptrdiff_t>(body.size()), /*check_status=*/true));
    return answer;
}

// Form encoding with a backslash before brackets, which otherwise delimit the list of addresses.
std::string EncodeListItem(std::u16string_view path) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : ToUtf8(path)) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (plain) {
            encoded += c;
        } else if (c == ' ') {
            encoded += '+';
        } else if (c == '[' || c == ']') {
            encoded += c == '[' ? "%5C%5B" : "%5C%5D";
        } else {
            const auto byte = static_cast<unsigned char>(c);
            encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return encoded;
}

void AppendCodePoint(std::u16string& text, uint32_t code) {
    if (code < 0x10000) {
        text += static_cast<char16_t>(code);
    } else {
        text += static_cast<char16_t>(0xD7C0 + (code >> 10));
        text += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
    }
}

// Appends the character of an entity, given without "&" and ";"; false when it is none.
bool AppendEntity(std::u16string& text, std::u16string_view entity) {
    const std::string name = ToUtf8(entity);
    for (const auto& known : kEntities) {
        if (name != known.name) continue;
        text += known.character;
        return true;
    }
    if (name.size() < 2 || name[0] != '#') return false;
    const bool hexadecimal = name[1] == 'x';
    const char* const start = name.data() + (hexadecimal ? 2 : 1);
    const char* const end = name.data() + name.size();
    uint32_t code = 0;
    const auto read = std::from_chars(start, end, code, hexadecimal ? 16 : 10);
    if (read.ec != std::errc() || read.ptr != end || code > 0x10FFFF) return false;
    AppendCodePoint(text, code);
    return true;
}

// The index of the semicolon that ends the entity at `at`; a number may have any length.
size_t EndOfEntity(std::u16string_view value, size_t at) {
    static constexpr size_t kLongestName = 12;
    if (value.substr(at, 2) != u"&#") return value.substr(0, at + kLongestName).find(u';', at);
    const size_t end = value.find_first_not_of(u"0123456789abcdefABCDEFx", at + 2);
    return end != std::u16string_view::npos && value[end] == u';' ? end : std::u16string_view::npos;
}

std::u16string DecodeEntities(std::u16string_view value) {
    std::u16string text;
    for (size_t at = 0; at < value.size(); ++at) {
        if (value[at] == u'&') {
            const size_t end = EndOfEntity(value, at);
            if (end != std::u16string_view::npos && AppendEntity(text, value.substr(at + 1, end - at - 1))) {
                at = end;
                continue;
            }
        }
        text += value[at];
    }
    return text;
}

}  // namespace

bool ForbidsEditing(std::u16string_view answer) {
    return std::any_of(std::begin(kCantEdit), std::end(kCantEdit), [&](std::u16string_view text) {
        return answer.find(text) != std::u16string_view::npos;
    });
}

std::optional<std::u16string> ReadUserName(std::u16string_view answer) {
    for (const std::u16string_view field : kUserName) {
        const size_t at = answer.find(field);
        if (at == std::u16string_view::npos) continue;
        std::u16string_view value = answer.substr(at + field.size());
        value = value.substr(0, value.find(u'\n'));
        return DecodeEntities(value.substr(0, value.find(u'\r')));
    }
    return std::nullopt;
}

bool CanEdit(Http::Session& http, const std::u16string& web_path, const std::u16string& object_path) {
    TRACE_ENTRY("FrontPage::CanEdit");
    std::u16string relative;
    const CompareUrlsResult result = CompareRelativeUrls(web_path, object_path, &relative);
    if (result != CompareUrlsResult::equal && result != CompareUrlsResult::url1_is_parent) {
        LOG_LINE(Log::error, u"Unexpected result '%d' of path comparison web '%s' to object '%s'",
                 static_cast<int32_t>(result), MaskForLog(web_path), MaskForLog(object_path));
        return false;
    }
    std::u16string answer;
    try {
        answer = Call(http, web_path,
                      "method=getDocsMetaInfo%3A12%2E0%2E0%2E0&url%5Flist=%5B" + EncodeListItem(relative) +
                          "%5D&listHiddenDocs=true&listLinkInfo=false");
    } catch (...) {
        LOG_LINE(Log::error, u"Failed to getDocsMetaInfo for web '%s' and object '%s'", MaskForLog(web_path),
                 MaskForLog(relative));
        return false;
    }
    if (answer.empty()) {
        LOG_LINE(Log::error, u"Result of getDocsMetaInfo is empty for web '%s' and object '%s'",
                 MaskForLog(web_path), MaskForLog(relative));
        return false;
    }
    TRACE_RETURN(!ForbidsEditing(answer));
}

std::u16string GetCurrentUser(Http::Session& http, const std::u16string& web_path) {
    TRACE_ENTRY("FrontPage::GetCurrentUser");
    std::u16string answer;
    try {
        answer = Call(http, web_path, "method=open+service%3A12%2E0%2E0%2E0");
    } catch (...) {
        LOG_LINE(Log::error, u"Failed to 'open service:12.0.0.0' for web '%s'", MaskForLog(web_path));
        return {};
    }
    if (answer.empty()) {
        LOG_LINE(Log::error, u"Result of 'open service:12.0.0.0' is empty for web '%s'",
                 MaskForLog(web_path));
        return {};
    }
    const std::optional<std::u16string> user = ReadUserName(answer);
    if (!user) {
        LOG_LINE(Log::error,
                 u"Result of 'open service:12.0.0.0' for web '%s' has no 'vti_username' field:\n%s",
                 MaskForLog(web_path), Http::BodyForLog(ToUtf8(answer)));
        return {};
    }
    if (user->empty()) {
        LOG_LINE(
            Log::error,
            u"Result of 'open service:12.0.0.0' for web '%s' has 'vti_username' field but it is empty:\n%s",
            MaskForLog(web_path), Http::BodyForLog(ToUtf8(answer)));
    }
    TRACE_EXIT(u"");
    return *user;
}

}  // namespace FrontPage
