#include "platform/url.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

using View = std::u16string_view;

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

constexpr bool IsLetter(char16_t c) {
    return (c | 0x20) >= u'a' && (c | 0x20) <= u'z';
}
constexpr bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}
constexpr bool IsSlash(char16_t c) {
    return c == u'/' || c == u'\\';
}

constexpr int HexValue(char16_t c) {
    if (IsDigit(c)) return c - u'0';
    const char16_t lower = c | 0x20;
    return lower >= u'a' && lower <= u'f' ? lower - u'a' + 10 : -1;
}

constexpr bool EqualsAscii(View text, View lower) {
    return text.size() == lower.size() &&
           std::equal(text.begin(), text.end(), lower.begin(),
                      [](auto a, auto b) { return (a >= u'A' && a <= u'Z' ? a + 0x20 : a) == b; });
}

struct Scheme {
    View name;
    INTERNET_SCHEME number;
    INTERNET_PORT port;
};
constexpr Scheme kSchemes[] = {
    {u"http", INTERNET_SCHEME_HTTP, INTERNET_DEFAULT_HTTP_PORT},
    {u"https", INTERNET_SCHEME_HTTPS, INTERNET_DEFAULT_HTTPS_PORT},
    {u"ftp", INTERNET_SCHEME_FTP, INTERNET_DEFAULT_FTP_PORT},
    {u"gopher", INTERNET_SCHEME_GOPHER, 70},
    {u"file", INTERNET_SCHEME_FILE, 0},
    {u"news", INTERNET_SCHEME_NEWS, 0},
    {u"mailto", INTERNET_SCHEME_MAILTO, 0},
    {u"socks", INTERNET_SCHEME_SOCKS, 1080},
    {u"javascript", INTERNET_SCHEME_JAVASCRIPT, 0},
    {u"vbscript", INTERNET_SCHEME_VBSCRIPT, 0},
    {u"res", INTERNET_SCHEME_RES, 0},
};

Scheme FindScheme(View name) {
    for (const Scheme& scheme : kSchemes)
        if (EqualsAscii(name, scheme.name)) return scheme;
    return {name, INTERNET_SCHEME_UNKNOWN, 0};
}

// The length of the scheme before its colon, or 0; a single letter is a drive and no scheme.
std::size_t SchemeLength(View url) {
    std::size_t i = 0;
    while (i < url.size() && (IsLetter(url[i]) || (i > 0 && (IsDigit(url[i]) || url[i] == u'+' ||
                                                             url[i] == u'-' || url[i] == u'.'))))
        ++i;
    return i >= 2 && i < url.size() && url[i] == u':' ? i : 0;
}

// Looks at four units at once; comparisons of whole listings spend their time here.
std::size_t BoundedLength(LPCWSTR text, std::size_t limit) {
    constexpr std::uint64_t kOnes = 0x0001'0001'0001'0001;
    std::size_t at = 0;
    for (std::uint64_t units; at + 4 <= limit; at += 4) {
        std::memcpy(&units, text + at, sizeof(units));
        if ((units - kOnes) & ~units & (kOnes << 15)) break;
    }
    return static_cast<std::size_t>(std::find(text + at, text + limit, u'\0') - text);
}

bool HasDrive(View text) {
    return text.size() >= 2 && IsLetter(text[0]) && text[1] == u':';
}

View Trim(View text) {
    while (!text.empty() && text.front() <= u' ') text.remove_prefix(1);
    while (!text.empty() && text.back() <= u' ') text.remove_suffix(1);
    return text;
}

// Where the query or fragment begins, or the end.
std::size_t ExtraStart(View text) {
    const auto found =
        std::find_if(text.begin(), text.end(), [](char16_t c) { return c == u'?' || c == u'#'; });
    return static_cast<std::size_t>(found - text.begin());
}

// Writes what fits and counts everything.
class Writer {
public:
    Writer(LPWSTR buffer, std::size_t capacity) : m_buffer(buffer), m_capacity(capacity) {}
    void put(char16_t c) {
        if (m_size < m_capacity) m_buffer[m_size] = c;
        ++m_size;
    }
    void put(View text) {
        if (m_size < m_capacity) {
            std::copy_n(text.data(), std::min(text.size(), m_capacity - m_size), m_buffer + m_size);
        }
        m_size += text.size();
    }
    std::size_t size() const { return m_size; }
    bool fits() const { return m_size < m_capacity; }
    // Valid only while everything has fit.
    char16_t* data() { return m_buffer; }
    void Truncate(std::size_t size) { m_size = size; }

private:
    char16_t* m_buffer;
    std::size_t m_capacity;
    std::size_t m_size = 0;
};

// Takes the last segment off again, but never anything before `root`; the slash before the segment stays.
void DropLastSegment(Writer& out, std::size_t root) {
    std::size_t size = out.size();
    while (size > root && out.data()[size - 1] != u'/') --size;
    if (size > root + 1) {
        --size;
        while (size > root && out.data()[size - 1] != u'/') --size;
    }
    out.Truncate(std::max(size, std::min(root + 1, out.size())));
}

// The path from its first slash on, without its "." and ".." segments. False if the output is too small to go
// back.
bool PutPath(Writer& out, View path) {
    const std::size_t root = out.size();
    std::size_t i = 0;
    while (i < path.size()) {
        const std::size_t slash = std::min(path.find(u'/', i), path.size());
        const View segment = path.substr(i, slash - i);
        const bool last = slash == path.size();
        if (segment == u".." && i > 0) {
            if (!out.fits()) return false;
            DropLastSegment(out, root);
        } else if (segment != u"." || i == 0) {
            out.put(segment);
            if (!last) out.put(u'/');
        }
        i = slash + 1;
    }
    return true;
}

// Files keep the separators of the system that they lie on, but for a browser.
void PutFile(Writer& out, View rest, bool browser) {
    out.put(u"file://");
    if (rest.size() > 2 && IsSlash(rest[0]) && IsSlash(rest[1])) rest.remove_prefix(2);
    if (rest.size() > 2 && IsSlash(rest[0]) && HasDrive(rest.substr(1))) rest.remove_prefix(1);
    for (char16_t c : rest) out.put(IsSlash(c) ? (browser ? u'/' : u'\\') : c);
}

// What stands between "//" and the path. Escapes brackets as browsers of this kind do.
void PutAuthority(Writer& out, View authority, bool escape_brackets) {
    for (char16_t c : authority) {
        if (escape_brackets && c == u'[') {
            out.put(u"%5B");
        } else if (escape_brackets && c == u']') {
            out.put(u"%5D");
        } else {
            out.put(c);
        }
    }
}

void PutBrowserSlashes(Writer& out, View text) {
    for (char16_t c : text) out.put(IsSlash(c) ? u'/' : c);
}

// A URL with "//": only a plain host gets its root slash and a path without dot segments.
bool PutHierarchical(Writer& out, View rest, bool browser, bool decode) {
    const auto ends_authority = [&](char16_t c) {
        return c == u'/' || c == u'?' || c == u'#' || (browser && c == u'\\');
    };
    const auto end = std::find_if(rest.begin(), rest.end(), ends_authority);
    const View authority = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
    rest.remove_prefix(authority.size());
    const View path = rest.substr(0, ExtraStart(rest));
    const View extra = rest.substr(path.size());
    PutAuthority(out, authority, browser && !decode);
    const bool plain = authority.find_first_of(u"@[]") == View::npos;
    if (plain && !authority.empty() && rest.empty()) out.put(u'/');
    const std::size_t root = out.size();
    if (!browser || path.find(u'\\') == View::npos) {
        if (!plain) {
            out.put(path);
        } else if (!PutPath(out, path)) {
            return false;
        }
    } else {
        PutBrowserSlashes(out, path);
        if (plain) {
            if (!out.fits()) return false;
            const View written(out.data() + root, out.size() - root);
            out.Truncate(root);
            // Reading stays ahead of writing: taking segments out only ever shortens the text.
            if (!PutPath(out, written)) return false;
        }
    }
    out.put(extra);
    return true;
}

// Each escaped byte becomes one unit; an escaped zero stays, since it would end the text.
std::size_t DecodeInPlace(char16_t* text, std::size_t size) {
    std::size_t to = 0;
    for (std::size_t from = 0; from < size; ++from) {
        char16_t c = text[from];
        if (c == u'%' && from + 2 < size) {
            const int high = HexValue(text[from + 1]);
            const int low = HexValue(text[from + 2]);
            if (high >= 0 && low >= 0 && high + low > 0) {
                c = static_cast<char16_t>(high << 4 | low);
                from += 2;
            }
        }
        text[to++] = c;
    }
    return to;
}

bool PutCanonical(Writer& out, View url, DWORD flags) {
    const bool browser = (flags & ICU_BROWSER_MODE) != 0;
    if (HasDrive(url) || url.substr(0, 2) == u"\\\\") {
        PutFile(out, url, browser);
        return true;
    }
    const std::size_t length = SchemeLength(url);
    const View scheme = url.substr(0, length);
    const View rest = url.substr(length ? length + 1 : 0);
    const bool has_authority = length && rest.substr(0, 2) == u"//";
    if (!has_authority) {
        out.put(url);
        return true;
    }
    if (FindScheme(scheme).number == INTERNET_SCHEME_FILE) {
        PutFile(out, rest, browser);
        return true;
    }
    out.put(scheme);
    out.put(u"://");
    return PutHierarchical(out, rest.substr(2), browser, (flags & ICU_DECODE) != 0);
}

// Hands one component out: into the caller's buffer, or as a pointer into the URL. False if a buffer is too
// small.
bool Give(LPWSTR& pointer, DWORD& length, View part, bool present) {
    if (pointer) {
        const bool fits = part.size() < length;
        if (fits) {
            std::copy(part.begin(), part.end(), pointer);
            pointer[part.size()] = 0;
        }
        length = static_cast<DWORD>(part.size() + (fits ? 0 : 1));
        return fits;
    }
    if (length) {
        pointer = present ? const_cast<LPWSTR>(part.data()) : nullptr;
        length = static_cast<DWORD>(part.size());
    }
    return true;
}

struct Parts {
    View scheme, user, password, host, path, extra;
    bool has_host = false, has_user = false, has_password = false;
    INTERNET_PORT port = 0;
};

// An empty port is the scheme's own, one that is no number is 0, what follows a number is passed over; false
// for a number that no port can have.
bool ReadPort(View digits, INTERNET_PORT& port) {
    if (digits.empty()) return true;
    unsigned value = 0;
    for (char16_t c : digits) {
        if (!IsDigit(c)) break;
        value = value * 10 + (c - u'0');
        if (value > 65535) return false;
    }
    port = static_cast<INTERNET_PORT>(value);
    return true;
}

bool ReadAuthority(View authority, Parts& parts) {
    parts.has_host = true;
    const auto is_special = [](char16_t c) { return c == u':' || c == u'@' || c == u'%' || c == u']'; };
    if (std::none_of(authority.begin(), authority.end(), is_special)) {
        parts.host = authority;
        return true;
    }
    if (const std::size_t at = authority.rfind(u'@'); at != View::npos) {
        const View user_info = authority.substr(0, at);
        const std::size_t colon = user_info.find(u':');
        parts.has_user = true;
        parts.user = user_info.substr(0, colon);
        parts.has_password = colon != View::npos;
        if (parts.has_password) parts.password = user_info.substr(colon + 1);
        authority.remove_prefix(at + 1);
    }
    // The colons of an address in brackets, plain or escaped, are its own.
    std::size_t search = std::min(authority.rfind(u']'), authority.rfind(u"%5D"));
    if (const std::size_t plain = authority.rfind(u']'); plain != View::npos) search = plain;
    const std::size_t colon = authority.find(u':', search == View::npos ? 0 : search);
    parts.host = authority.substr(0, colon);
    return colon == View::npos || ReadPort(authority.substr(colon + 1), parts.port);
}

}  // namespace

BOOL InternetCanonicalizeUrlW(LPCWSTR url, LPWSTR buffer, DWORD* length, DWORD flags) {
    constexpr DWORD kKnown = ICU_BROWSER_MODE | ICU_DECODE | ICU_NO_ENCODE;
    if (!url || !length || (*length && !buffer)) return Fail(ERROR_INVALID_PARAMETER);
    // Encoding isn't supported: every caller keeps the text as it is.
    if ((flags & ~kKnown) || !(flags & ICU_NO_ENCODE)) return Fail(ERROR_INVALID_FLAGS);
    const View text = Trim(url);
    if (text.empty()) return Fail(ERROR_INVALID_PARAMETER);
    Writer out(buffer, *length);
    if (!PutCanonical(out, text, flags) || !out.fits()) {
        *length = static_cast<DWORD>(std::max(out.size(), text.size() + 2) + 1);
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    const std::size_t size = (flags & ICU_DECODE) ? DecodeInPlace(buffer, out.size()) : out.size();
    buffer[size] = 0;
    *length = static_cast<DWORD>(size);
    return TRUE;
}

BOOL InternetCrackUrlW(LPCWSTR url, DWORD length, DWORD flags, URL_COMPONENTSW* components) {
    if (!url || !components || components->dwStructSize != sizeof(URL_COMPONENTSW))
        return Fail(ERROR_INVALID_PARAMETER);
    if (flags) return Fail(ERROR_INVALID_FLAGS);
    const View text = length ? View(url, BoundedLength(url, length)) : View(url);
    if (text.empty()) return Fail(ERROR_INVALID_PARAMETER);
    const std::size_t scheme_size = SchemeLength(text);
    if (!scheme_size) return Fail(ERROR_INTERNET_UNRECOGNIZED_SCHEME);
    Parts parts;
    parts.scheme = text.substr(0, scheme_size);
    const Scheme scheme = FindScheme(parts.scheme);
    View rest = text.substr(scheme_size + 1);
    if (rest.substr(0, 2) == u"//") {
        rest.remove_prefix(2);
        if (scheme.number != INTERNET_SCHEME_FILE) {
            const auto end = std::find_if(rest.begin(), rest.end(),
                                          [](char16_t c) { return c == u'/' || c == u'?' || c == u'#'; });
            const View authority = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
            parts.port = scheme.port;
            if (!ReadAuthority(authority, parts)) return Fail(ERROR_INTERNET_INVALID_URL);
            rest.remove_prefix(authority.size());
        }
    }
    parts.path = rest.substr(0, ExtraStart(rest));
    parts.extra = rest.substr(parts.path.size());

    URL_COMPONENTSW& out = *components;
    // When the extra information isn't asked for, query and fragment belong to the path.
    if (!out.lpszExtraInfo && !out.dwExtraInfoLength) parts.path = rest;
    out.nScheme = scheme.number;
    out.nPort = parts.port;
    bool fits = Give(out.lpszScheme, out.dwSchemeLength, parts.scheme, true);
    fits &= Give(out.lpszHostName, out.dwHostNameLength, parts.host, parts.has_host);
    fits &= Give(out.lpszUserName, out.dwUserNameLength, parts.user, parts.has_user);
    fits &= Give(out.lpszPassword, out.dwPasswordLength, parts.password, parts.has_password);
    fits &= Give(out.lpszUrlPath, out.dwUrlPathLength, parts.path, true);
    fits &= Give(out.lpszExtraInfo, out.dwExtraInfoLength, parts.extra, true);
    return fits ? TRUE : Fail(ERROR_INSUFFICIENT_BUFFER);
}
