// Conversions between the host interfaces' UTF-16 and the system's UTF-8, and other text functions. Any
// thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/com.h"

namespace host {

// Invalid input becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);
std::u16string ToUtf16(std::string_view text);

// Null reads as empty.
std::u16string FromWide(LPCWSTR text);

bool EqualIgnoreCase(std::u16string_view a, std::u16string_view b);

// A new host string into an out argument: E_POINTER for null, E_OUTOFMEMORY.
HRESULT GiveString(BSTR* out, std::u16string_view text);

// A Windows file time as "2024-05-06T07:08:09Z"; empty for 0.
std::string FormatFileTime(std::uint64_t file_time);
// The same of seconds since 1970.
std::string FormatUnixTime(std::int64_t seconds);

// Lower-case hexadecimal of bytes.
std::string ToHex(const void* data, std::size_t size);

// "0x8007000E".
std::string FormatResult(HRESULT result);

// Rich text as one line of bounded length, without tags, line breaks and what can't be seen: control,
// zero-width and bidirectional characters.
std::string PlainLine(std::string_view text);
// Replaces the passwords in the addresses of a line by "***".
std::string WithoutPasswords(std::string line);

// The same for plain text.
std::string SafeLine(std::string_view text);

// The same of rich text with its line breaks.
std::string PlainText(std::string_view text);

std::string ToBase64(const void* data, std::size_t size);
// Nothing for invalid characters.
std::optional<std::string> FromBase64(std::string_view text);

}  // namespace host
