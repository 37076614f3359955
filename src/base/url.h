// What a string says about a place on a server, and how two of them relate. No state; any thread may call.
// Nothing here throws but std::bad_alloc: bad text gives `error`, false or an empty string.
#pragma once

#include <string>
#include <string_view>

enum class CompareUrlsResult {
    equal = 0,
    url1_is_parent = 1,
    url2_is_parent = 2,
    different = 3,
    error = 4,
};

// Compares scheme, host, port and path of two absolute URLs, ignoring case and a trailing slash. The query
// counts unless `ignore_query`. `relative_out`, if given, receives the path of the child below its parent.
CompareUrlsResult CompareUrls(const char16_t* url1, const char16_t* url2,
                              std::u16string* relative_out = nullptr, bool ignore_query = false);
inline CompareUrlsResult CompareUrls(const std::u16string& url1, const std::u16string& url2,
                                     std::u16string* relative_out = nullptr, bool ignore_query = false) {
    return CompareUrls(url1.c_str(), url2.c_str(), relative_out, ignore_query);
}

// The same for two paths relative to one server, without a leading slash.
CompareUrlsResult CompareRelativeUrls(const std::u16string& path1, const std::u16string& path2,
                                      std::u16string* relative_out = nullptr);

// Whether an address lies below a server's and that shows without canonical forms; `out_relative` is then
// what CompareUrls gives. For false, ask CompareUrls.
bool IsPlainlyBelow(std::u16string_view server_url, std::u16string_view url, std::u16string& out_relative);

// The URL one level up, without a trailing slash; empty for a host or for text that is no URL.
std::u16string GetUrlParent(const char16_t* url);
inline std::u16string GetUrlParent(const std::u16string& url) {
    return GetUrlParent(url.c_str());
}

// An http or https URL whose path could be that of a document.
bool IsDirectUrl(const char16_t* text);
inline bool IsDirectUrl(const std::u16string& text) {
    return IsDirectUrl(text.c_str());
}

// A sharing link.
bool IsFileLinkUrl(const char16_t* text);
inline bool IsFileLinkUrl(const std::u16string& text) {
    return IsFileLinkUrl(text.c_str());
}

// False when the text holds one of ?*:"|<>\ .
bool IsValidFileOrFolderUrlPath(std::u16string_view url);

// The UNC form of a WebDAV share to a web address.
std::u16string WebDavPathToUrl(const char16_t* text);
inline std::u16string WebDavPathToUrl(const std::u16string& text) {
    return WebDavPathToUrl(text.c_str());
}

// What a user typed to a web address; https when no scheme was typed.
std::u16string NormalizeUserUrl(const char16_t* text);

// Percent-encoding of the UTF-8 bytes; ASCII letters, digits and -_.~/ stay.
std::u16string UrlEncode(std::u16string_view text);

// The same for a value inside a quoted string of a REST address: an apostrophe is written twice.
std::u16string UrlEncodeQuoted(std::u16string_view text);

// Percent-decoding; a "%" without two hexadecimal digits stays.
std::string UrlDecode(std::string_view bytes);

// Joins and empties the list.
template <typename List>
std::u16string JoinStrings(List& list, char16_t separator) {
    std::u16string joined;
    for (const std::u16string& text : list) {
        if (&text != &*list.begin()) joined += separator;
        joined += text;
    }
    list.clear();
    return joined;
}
