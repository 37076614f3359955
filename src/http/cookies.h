// The cookies of a sign-in as header text. Re-entrant.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Http {

// Names and values; the order of insertion is the order of sending.
using CookieList = std::vector<std::pair<std::u16string, std::u16string>>;

// Writes "Cookie: a=b; c=d\n" into `text`; "Cookie: \n" for an empty list.
void FormatCookieHeader(const CookieList& cookies, std::u16string& text);

// Appends the cookies of a header that FormatCookieHeader wrote. The line feed at its end stays in the last
// value. Throws std::out_of_range when nothing but blanks follows "Cookie:".
void ParseCookieHeader(const std::u16string& header, CookieList& cookies);

// Puts the cookies on a request; false when there are none or the request refuses them.
bool AddCookiesToRequest(void* request_handle, const CookieList& cookies);

}  // namespace Http
