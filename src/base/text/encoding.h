// Conversions between UTF-16 and the encodings of the wire. Re-entrant; nothing here fails: what is no valid
// text becomes U+FFFD.
#pragma once

#include <string>
#include <string_view>

std::string ToUtf8(std::u16string_view text);
std::u16string FromUtf8(std::string_view bytes);

// ASCII text, such as a number, to wide.
std::u16string Widen(std::string_view ascii);

// The C library's conversion in the process's locale; ends at the first character that it can't convert.
std::string ToLocaleBytes(const std::u16string& text);
