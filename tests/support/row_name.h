// Names for the rows of parameterised tests. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace testing_support {

// "no rights, check-out" is "NoRightsCheckOut".
inline std::string ToTestName(std::string_view text) {
    std::string name;
    bool starts_word = true;
    for (const char c : text) {
        const bool is_lower = c >= 'a' && c <= 'z';
        if (is_lower || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) {
            name += starts_word && is_lower ? static_cast<char>(c - 0x20) : c;
            starts_word = false;
        } else {
            starts_word = c != '\'';
        }
    }
    return name;
}

// For rows that have a member `what`.
struct RowName {
    template <typename Info>
    std::string operator()(const Info& info) const {
        return ToTestName(info.param.what);
    }
};

}  // namespace testing_support
