// Conversions between the host interfaces' UTF-16 and the system's UTF-8, and small text services.
// Owned by nobody; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/com.h"

namespace host {

// What is no valid text in one encoding becomes U+FFFD in the other.
std::string ToUtf8(std::u16string_view text);
std::u16string ToUtf16(std::string_view text);

// Null reads as empty.
std::u16string FromWide(LPCWSTR text);

bool EqualIgnoreCase(std::u16string_view a, std::u16string_view b);

// A new host string into an out argument: E_POINTER for null, E_OUTOFMEMORY.
HRESULT GiveString(BSTR* out, std::u16string_view text);

// A Windows file time as "2024-05-06T07:08:09Z"; empty for 0.
std::string FormatFileTime(std::uint64_t file_time);

// Lower-case hexadecimal of bytes.
std::string ToHex(const void* data, std::size_t size);

// "0x8007000E".
std::string FormatResult(HRESULT result);

// One line for a terminal: rich-text tags, control characters and line breaks gone.
std::string PlainLine(std::string_view text);
// What stands for a password in the addresses of a line becomes "***".
std::string WithoutPasswords(std::string line);

// The same for what isn't rich text: the control characters and line breaks gone.
std::string SafeLine(std::string_view text);

// Rich-text tags and control characters gone, line breaks kept.
std::string PlainText(std::string_view text);

std::string ToBase64(const void* data, std::size_t size);
// Nothing unless every character belongs.
std::optional<std::string> FromBase64(std::string_view text);

}  // namespace host
