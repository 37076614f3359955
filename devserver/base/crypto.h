// Random values and digests, over OpenSSL.
// Owner: everyone in devserver/; any thread.
#pragma once
#include <string>
#include <string_view>

namespace devserver {

std::string RandomBytes(std::size_t count);
std::string RandomGuid();                   // lower case, with hyphens
std::string Sha256(std::string_view text);  // 32 bytes
std::string Sha256Hex(std::string_view text);
std::string HmacSha512Hex(std::string_view key, std::string_view text);  // 128 upper-case digits
bool EqualInConstantTime(std::string_view a, std::string_view b);

}  // namespace devserver
