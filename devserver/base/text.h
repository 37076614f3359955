// Text helpers of the development server: UTF-8 only, no state.
// Owner: everyone in devserver/; any thread.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace devserver {

bool equals_ignoring_case(std::string_view a, std::string_view b);
bool starts_with_ignoring_case(std::string_view text, std::string_view prefix);
// Position of the first ASCII-case-insensitive occurrence, npos when there is none.
std::size_t find_ignoring_case(std::string_view text, std::string_view part);
std::string to_lower(std::string_view text);
std::string to_upper(std::string_view text);
std::string_view trim(std::string_view text);
std::vector<std::string> split(std::string_view text, char separator);
std::string replace_all(std::string text, std::string_view from, std::string_view to);
// Decimal number with an optional sign; the text may have nothing else.
std::optional<std::int64_t> parse_integer(std::string_view text);

// Decodes %XX once; a broken escape is kept.
std::string percent_decode(std::string_view text, bool plus_is_blank = false);
// Escapes all but letters, digits and the characters of `also_plain`.
std::string percent_encode(std::string_view text, std::string_view also_plain = "-_.~");
// A path as it stands in an address: '/' and the apostrophe stay.
std::string encode_path(std::string_view path);
// The host of an absolute address, and its path; a bare path has no host.
std::pair<std::string, std::string> split_address(const std::string& address);
using QueryParameters = std::vector<std::pair<std::string, std::string>>;
// application/x-www-form-urlencoded pairs in order.
QueryParameters parse_query(std::string_view query);
// The value of the first pair of this name (ignoring case), empty when there is none.
std::string query_value(const QueryParameters& query, std::string_view name);
bool has_query(const QueryParameters& query, std::string_view name);

std::string html_escape(std::string_view text);
bool is_valid_utf8(std::string_view text);
std::string base64url_encode(std::string_view bytes);
std::optional<std::string> base64url_decode(std::string_view text);
std::string base64_encode(std::string_view bytes);
std::optional<std::string> base64_decode(std::string_view text);
// 32 hexadecimal digits in the groups of a GUID.
std::string format_guid(std::string_view hex);
std::string hex_encode(std::string_view bytes, bool upper = false);

}  // namespace devserver
