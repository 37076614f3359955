// Random values and digests, over OpenSSL.
// Owner: everyone in devserver/; any thread.
#pragma once
#include <string>
#include <string_view>

namespace devserver {

std::string random_bytes(std::size_t count);
std::string random_guid();                  // lower case, with hyphens
std::string sha256(std::string_view text);  // 32 bytes
std::string sha256_hex(std::string_view text);
std::string hmac_sha512_hex(std::string_view key, std::string_view text);  // 128 upper-case digits
bool equal_in_constant_time(std::string_view a, std::string_view b);

}  // namespace devserver
