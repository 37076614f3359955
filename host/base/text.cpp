#include "host/base/text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "platform/com_ptr.h"
#include "platform/text.h"

namespace host {

std::string ToUtf8(std::u16string_view text) {
    if (text.empty()) return {};
    std::string bytes(text.size() * 3, '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(size > 0 ? size : 0));
    return bytes;
}

std::u16string ToUtf16(std::string_view text) {
    if (text.empty()) return {};
    std::u16string units(text.size() * 2, u'\0');
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), units.data(),
                                         static_cast<int>(units.size()));
    units.resize(static_cast<std::size_t>(size > 0 ? size : 0));
    return units;
}

std::u16string FromWide(LPCWSTR text) {
    return text ? std::u16string(text) : std::u16string();
}

bool EqualIgnoreCase(std::u16string_view a, std::u16string_view b) {
    if (a.empty() || b.empty()) return a.empty() && b.empty();
    return CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, a.data(), static_cast<int>(a.size()), b.data(),
                          static_cast<int>(b.size())) == CSTR_EQUAL;
}

HRESULT GiveString(BSTR* out, std::u16string_view text) {
    if (!out) return E_POINTER;
    *out = SysAllocStringLen(text.empty() ? u"" : text.data(), static_cast<UINT>(text.size()));
    return *out ? S_OK : E_OUTOFMEMORY;
}

std::string FormatFileTime(std::uint64_t file_time) {
    if (file_time == 0) return {};
    const FILETIME halves{static_cast<DWORD>(file_time), static_cast<DWORD>(file_time >> 32)};
    SYSTEMTIME time{};
    if (!FileTimeToSystemTime(&halves, &time)) return {};
    std::array<char, 48> text;
    const int size = std::snprintf(text.data(), text.size(), "%04u-%02u-%02uT%02u:%02u:%02uZ", time.wYear,
                                   time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond);
    return std::string(text.data(), static_cast<std::size_t>(size));
}

std::string FormatUnixTime(std::int64_t seconds) {
    constexpr std::uint64_t kEpoch = 11644473600;
    return seconds > 0 ? FormatFileTime((static_cast<std::uint64_t>(seconds) + kEpoch) * 10000000) : "";
}

std::string ToHex(const void* data, std::size_t size) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(size * 2);
    for (std::size_t i = 0; i < size; ++i) {
        const auto byte = static_cast<const unsigned char*>(data)[i];
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

std::string FormatResult(HRESULT result) {
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(result));
    return text.data();
}

namespace {

bool IsTagName(std::string_view name) {
    static constexpr std::string_view kNames[] = {"a", "b", "br",   "em",     "font",
                                                  "i", "p", "span", "strong", "u"};
    return std::any_of(std::begin(kNames), std::end(kNames), [&](std::string_view known) {
        return EqualIgnoreCase(ToUtf16(name), ToUtf16(known));
    });
}

// The length of a rich-text tag at `at` ("<b>", "</b>", "<br/>"), or 0: other angle brackets are text, such
// as those around a mail address.
std::size_t TagLength(std::string_view text, std::size_t at) {
    if (text[at] != '<') return 0;
    const std::size_t start = at + (text.substr(at + 1).starts_with('/') ? 2 : 1);
    const std::size_t end = text.find_first_of("<>", start);
    if (end == std::string_view::npos || text[end] != '>') return 0;
    const std::string_view inside = text.substr(start, end - start);
    return IsTagName(inside.substr(0, inside.find_first_of(" \t\n/"))) ? end + 1 - at : 0;
}

// Text of a server is cut behind this many bytes where it is shown.
constexpr std::size_t kLongestShown = 2000;

// The length of a character at `at` that can't be seen or that turns the order of the others, or 0.
std::size_t HiddenLength(std::string_view text, std::size_t at) {
    struct Range {
        std::string_view first;
        std::string_view last;
    };
    static constexpr Range kHidden[] = {
        {"\xC2\x80", "\xC2\x9F"},          // the second block of control characters
        {"\xD8\x9C", "\xD8\x9C"},          // Arabic letter mark
        {"\xE1\xA0\x8E", "\xE1\xA0\x8E"},  // Mongolian vowel separator
        {"\xE2\x80\x8B", "\xE2\x80\x8F"},  // zero-width characters, direction marks
        {"\xE2\x80\xA8", "\xE2\x80\xAE"},  // line and paragraph separators, embeddings and overrides
        {"\xE2\x81\xA0", "\xE2\x81\xAF"},  // word joiner, isolates
        {"\xEF\xBB\xBF", "\xEF\xBB\xBF"},  // byte order mark
    };
    for (const Range& range : kHidden) {
        const std::string_view letter = text.substr(at, range.first.size());
        if (letter >= range.first && letter <= range.last) return letter.size();
    }
    return 0;
}

void CutAtCharacter(std::string& text) {
    if (text.size() <= kLongestShown) return;
    std::size_t keep = kLongestShown;
    while (keep > 0 && (static_cast<unsigned char>(text[keep]) & 0xC0) == 0x80) --keep;
    text.resize(keep);
    text += "...";
}

std::string Plain(std::string_view text, bool one_line, bool rich = true) {
    std::string plain;
    for (std::size_t i = 0; i < text.size();) {
        if (const std::size_t tag = rich ? TagLength(text, i) : 0) {
            i += tag;
            continue;
        }
        if (const std::size_t hidden = HiddenLength(text, i)) {
            i += hidden;
            continue;
        }
        const auto byte = static_cast<unsigned char>(text[i++]);
        const bool is_break = byte == '\n';
        if (is_break && !one_line) {
            plain += '\n';
        } else if (byte < 0x20 || byte == 0x7F) {
            if ((is_break || byte == '\t') && !plain.empty() && plain.back() != ' ') plain += ' ';
        } else {
            plain += static_cast<char>(byte);
        }
    }
    while (!plain.empty() && (plain.back() == ' ' || plain.back() == '\n')) plain.pop_back();
    CutAtCharacter(plain);
    return plain;
}

}  // namespace

std::string PlainLine(std::string_view text) {
    return Plain(text, true);
}

std::string WithoutPasswords(std::string line) {
    for (std::size_t at = line.find("://"); at != std::string::npos; at = line.find("://", at + 3)) {
        const std::size_t start = at + 3;
        const std::size_t end = std::min(line.find_first_of("/?# ", start), line.size());
        const std::size_t host = line.rfind('@', end);
        const std::size_t colon = line.find(':', start);
        const bool has_password = host != std::string::npos && host > colon && host < end;
        if (has_password) line.replace(colon + 1, host - colon - 1, "***");
    }
    return line;
}

std::string SafeLine(std::string_view text) {
    return Plain(text, true, false);
}

std::string PlainText(std::string_view text) {
    return Plain(text, false);
}

}  // namespace host
