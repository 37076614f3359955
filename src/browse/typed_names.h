// What names of files and folders may not hold, and the blanks around typed ones. Any thread.
#pragma once

#include <string_view>

inline constexpr const char16_t* kForbiddenInNames = u"?*:\"|<>\\/";

inline std::u16string_view TrimBlanks(std::u16string_view text) {
    const size_t first = text.find_first_not_of(u" \t");
    if (first == std::u16string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(u" \t") - first + 1);
}
