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

bool EqualsIgnoringCase(std::string_view a, std::string_view b);
bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix);
// Position of the first ASCII-case-insensitive occurrence, npos when there is none.
std::size_t FindIgnoringCase(std::string_view text, std::string_view part);
std::string ToLower(std::string_view text);
std::string ToUpper(std::string_view text);
std::string_view Trim(std::string_view text);
std::vector<std::string> Split(std::string_view text, char separator);
std::string ReplaceAll(std::string text, std::string_view from, std::string_view to);
// Decimal number with an optional sign; the text may have nothing else.
std::optional<std::int64_t> ParseInteger(std::string_view text);

// Decodes %XX once; a broken escape is kept.
std::string PercentDecode(std::string_view text, bool plus_is_blank = false);
// Escapes all but letters, digits and the characters of `also_plain`.
std::string PercentEncode(std::string_view text, std::string_view also_plain = "-_.~");
// A path as it stands in an address: '/' and the apostrophe stay.
std::string EncodePath(std::string_view path);
// The host of an absolute address, and its path; a bare path has no host.
std::pair<std::string, std::string> SplitAddress(const std::string& address);
using QueryParameters = std::vector<std::pair<std::string, std::string>>;
// application/x-www-form-urlencoded pairs in order.
QueryParameters ParseQuery(std::string_view query);
// The value of the first pair of this name (ignoring case), empty when there is none.
std::string QueryValue(const QueryParameters& query, std::string_view name);
bool HasQuery(const QueryParameters& query, std::string_view name);

std::string HtmlEscape(std::string_view text);
bool IsValidUtf8(std::string_view text);
std::string Base64urlEncode(std::string_view bytes);
std::optional<std::string> Base64urlDecode(std::string_view text);
std::string Base64Encode(std::string_view bytes);
std::optional<std::string> Base64Decode(std::string_view text);
// 32 hexadecimal digits in the groups of a GUID.
std::string FormatGuid(std::string_view hex);
std::string HexEncode(std::string_view bytes, bool upper = false);

}  // namespace devserver
