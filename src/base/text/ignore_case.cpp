#include "base/text/ignore_case.h"

#include <algorithm>

#include "platform/text.h"

namespace {

constexpr char16_t ToLowerAscii(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
}

bool EqualIgnoringAsciiCase(std::u16string_view a, std::u16string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char16_t x, char16_t y) { return ToLowerAscii(x) == ToLowerAscii(y); });
}

}  // namespace

bool EqualIgnoringCase(std::u16string_view a, std::u16string_view b) {
    return CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, a.data(), static_cast<int>(a.size()), b.data(),
                          static_cast<int>(b.size())) == CSTR_EQUAL;
}

bool StartsWithIgnoringCase(std::u16string_view text, std::u16string_view start) {
    return text.size() >= start.size() && EqualIgnoringCase(text.substr(0, start.size()), start);
}

bool StartsWithIgnoringAsciiCase(std::u16string_view text, std::u16string_view start) {
    return text.size() >= start.size() && EqualIgnoringAsciiCase(text.substr(0, start.size()), start);
}

bool EndsWithIgnoringAsciiCase(std::u16string_view text, std::u16string_view end) {
    return text.size() >= end.size() && EqualIgnoringAsciiCase(text.substr(text.size() - end.size()), end);
}
