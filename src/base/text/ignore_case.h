// Comparisons without regard to case. Any thread.
#pragma once

#include <algorithm>
#include <string_view>

// By the rules of all scripts: names, hosts and headers. Texts of different lengths may be equal.
bool EqualIgnoringCase(std::u16string_view a, std::u16string_view b);
bool StartsWithIgnoringCase(std::u16string_view text, std::u16string_view start);

// Letter by letter, where A to Z alone have a case: tokens of a protocol.
constexpr char16_t ToLowerAscii(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
}
constexpr bool EqualIgnoringAsciiCase(std::u16string_view a, std::u16string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char16_t x, char16_t y) { return ToLowerAscii(x) == ToLowerAscii(y); });
}
constexpr bool StartsWithIgnoringAsciiCase(std::u16string_view text, std::u16string_view start) {
    return text.size() >= start.size() && EqualIgnoringAsciiCase(text.substr(0, start.size()), start);
}
constexpr bool EndsWithIgnoringAsciiCase(std::u16string_view text, std::u16string_view end) {
    return text.size() >= end.size() && EqualIgnoringAsciiCase(text.substr(text.size() - end.size()), end);
}
