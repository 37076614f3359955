#include "host/jobs/address.h"

#include <algorithm>
#include <optional>

#include "host/base/failure.h"
#include "host/base/text.h"

namespace host {

namespace {

std::optional<unsigned> HexDigit(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return std::nullopt;
}

std::string DecodeOnce(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const auto high = HexDigit(text[i + 1]);
            const auto low = HexDigit(text[i + 2]);
            if (high && low) {
                decoded += static_cast<char>(*high << 4 | *low);
                i += 2;
                continue;
            }
        }
        decoded += text[i];
    }
    return decoded;
}

bool HasScheme(std::string_view text, std::string_view scheme) {
    return EqualIgnoreCase(ToUtf16(text.substr(0, scheme.size())), ToUtf16(scheme));
}

// "/:b:/s/..." as sharing links look.
bool IsSharingPath(std::string_view path) {
    return path.size() > 5 && path.starts_with("/:") && path[3] == ':' && path[4] == '/';
}

// The value of a parameter in a query, not decoded; empty when it isn't there.
std::string_view Parameter(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const std::string_view part = query.substr(0, query.find('&'));
        if (part.size() > name.size() && part[name.size()] == '=' &&
            EqualIgnoreCase(ToUtf16(part.substr(0, name.size())), ToUtf16(name)))
            return part.substr(name.size() + 1);
        query.remove_prefix(std::min(part.size() + 1, query.size()));
    }
    return {};
}

// The document or folder that a library's page shows in a browser, ".../Forms/AllItems.aspx?id=...", or the
// library; what a link of the kind "/:b:/r/..." leads to. Any other path as it is, without its query.
std::string BehindPage(std::string_view path) {
    const std::size_t mark = std::min(path.find('?'), path.size());
    std::string_view page = path.substr(0, mark);
    if (IsSharingPath(page) && page.substr(4).starts_with("/r/")) page.remove_prefix(6);
    const std::size_t forms = page.rfind("/Forms/");
    if (forms == std::string_view::npos || !page.ends_with(".aspx")) return std::string(page);
    const std::string_view query = mark < path.size() ? path.substr(mark + 1) : std::string_view();
    for (const char* name : {"id", "RootFolder"}) {
        const std::string_view value = Parameter(query, name);
        if (!value.empty() && DecodeOnce(value).starts_with('/')) return std::string(value);
    }
    return std::string(page.substr(0, forms));
}

}  // namespace

bool LooksLikeUrl(std::string_view argument) {
    return HasScheme(argument, "http://") || HasScheme(argument, "https://");
}

std::u16string ParseUrl(std::string_view argument) {
    const auto refuse = [&](const char* why) {
        throw Failure(E_INVALIDARG, "'" + PlainLine(argument) + "' " + why);
    };
    if (!LooksLikeUrl(argument)) {
        refuse("is no address that begins with http:// or https://");
    }
    const std::size_t start = argument.find("://") + 3;
    const std::size_t slash = argument.find_first_of("/?#", start);
    if (slash == start || start == argument.size()) refuse("names no server");
    const std::string_view server = argument.substr(0, slash);
    std::string_view path = slash == std::string_view::npos ? std::string_view() : argument.substr(slash);
    if (IsSharingPath(path) && !path.substr(4).starts_with("/r/")) return ToUtf16(argument);
    std::string decoded = DecodeOnce(BehindPage(path));
    while (decoded.ends_with('/')) decoded.pop_back();
    // It would start a query, and the address would be another document's.
    if (decoded.find('?') != std::string::npos) refuse("has an escaped question mark, which no name has");
    for (const char byte : decoded) {
        if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F) refuse("has a control character in it");
    }
    const std::u16string wide = ToUtf16(decoded);
    if (ToUtf8(wide) != decoded) refuse("is not valid UTF-8");
    return ToUtf16(server) + wide;
}

std::string EscapeUrl(std::u16string_view url) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    constexpr std::string_view kPlain = "-_.~!$&'()*+,;=:@/";
    const std::string bytes = ToUtf8(url);
    const std::size_t scheme = bytes.find("://");
    const std::size_t path = scheme == std::string::npos ? 0 : bytes.find('/', scheme + 3);
    std::string escaped = bytes.substr(0, path);
    if (path == std::string::npos) return escaped;
    for (const char byte : std::string_view(bytes).substr(path)) {
        const bool is_word =
            (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9');
        if (is_word || kPlain.find(byte) != std::string_view::npos) {
            escaped += byte;
        } else {
            escaped += '%';
            escaped += kDigits[static_cast<unsigned char>(byte) >> 4];
            escaped += kDigits[static_cast<unsigned char>(byte) & 15];
        }
    }
    return escaped;
}

std::string TooLongText(std::u16string_view url) {
    constexpr std::size_t kMost = 400;
    const std::size_t scheme = url.find(u"://");
    const std::size_t slash = scheme == std::u16string_view::npos ? url.npos : url.find(u'/', scheme + 3);
    const std::size_t size = slash == url.npos ? 0 : url.size() - slash - 1;
    if (size <= kMost) return {};
    return "the address is too long: its path has " + std::to_string(size) +
           " characters, and servers take " + std::to_string(kMost);
}

std::u16string_view LastPart(std::u16string_view url) {
    const std::size_t slash = url.find_last_of(u'/');
    return slash == std::u16string_view::npos ? url : url.substr(slash + 1);
}

std::u16string_view ParentOf(std::u16string_view url) {
    const std::size_t slash = url.find_last_of(u'/');
    return slash == std::u16string_view::npos ? std::u16string_view() : url.substr(0, slash);
}

}  // namespace host
