// Splitting of lists that are kept as one text. Pure function; re-entrant.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// The pieces between separators; empty ones are left out.
inline std::vector<std::u16string> SplitString(std::u16string_view text, char16_t separator) {
    std::vector<std::u16string> pieces;
    while (!text.empty()) {
        const size_t end = std::min(text.find(separator), text.size());
        if (end != 0) pieces.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return pieces;
}
