// Comparisons without regard to case. Any thread.
#pragma once

#include <string_view>

// By the rules of all scripts: names, hosts and headers. Texts of different lengths may be equal.
bool EqualIgnoringCase(std::u16string_view a, std::u16string_view b);
bool StartsWithIgnoringCase(std::u16string_view text, std::u16string_view start);

// Letter by letter, where A to Z alone have a case: tokens of a protocol.
bool StartsWithIgnoringAsciiCase(std::u16string_view text, std::u16string_view start);
bool EndsWithIgnoringAsciiCase(std::u16string_view text, std::u16string_view end);
