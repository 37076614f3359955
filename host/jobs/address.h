// URLs as people paste them and as the plug-in takes them. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace host {

// A URL as a browser shows it, escaped or not, with percent escapes decoded once, the query and a slash at
// the end dropped. A library's page gives the item that it shows, a sharing link stays as it is. Throws a
// Failure of E_INVALIDARG.
std::u16string ParseUrl(std::string_view argument);

// Whether it begins as a URL does.
bool LooksLikeUrl(std::string_view argument);

// A decoded URL with every character escaped that ParseUrl could take for something else.
std::string EscapeUrl(std::u16string_view url);

// Says of an address that it is longer than servers take; or empty.
std::string TooLongText(std::u16string_view url);

// The part behind the last slash, and what stands before that slash.
std::u16string_view LastPart(std::u16string_view url);
std::u16string_view ParentOf(std::u16string_view url);

}  // namespace host
