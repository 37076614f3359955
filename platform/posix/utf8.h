// Conversion between UTF-16 and the UTF-8 of POSIX and of the wire, for the sources of this folder alone.
// Any thread; throws std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// Lone surrogates become U+FFFD.
std::string ToUtf8(std::u16string_view text);
// What is not UTF-8 becomes U+FFFD.
std::u16string ToUtf16(std::string_view bytes);

}  // namespace platform
