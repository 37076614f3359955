// Times as seconds since 1970 UTC, and their texts on the wire.
// Owner: everyone in devserver/; any thread.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace devserver {

using Seconds = std::int64_t;

Seconds Now();
std::string IsoTime(Seconds time);     // 2024-03-29T17:56:55Z
std::string HttpDate(Seconds time);    // Fri, 29 Mar 2024 17:56:55 GMT
std::string DigestDate(Seconds time);  // 29 Mar 2024 17:56:55 -0000
std::optional<Seconds> ParseIsoTime(std::string_view text);
std::optional<Seconds> ParseDigestDate(std::string_view text);

}  // namespace devserver
