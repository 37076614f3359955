// URLs through the platform's canonical form and components; any thread may call. The comparison allocates
// nothing: canonical forms and components live on the stack.
#include "base/url.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/failure.h"
#include "base/text/encoding.h"
#include "base/text/ignore_case.h"
#include "platform/url.h"

namespace {

constexpr size_t kBufferSize = INTERNET_MAX_URL_LENGTH;
constexpr DWORD kCanonicalFlags = ICU_NO_ENCODE | ICU_BROWSER_MODE;
constexpr std::u16string_view kInvalidInPath = u"?*:\"|<>\\";
constexpr std::u16string_view kInvalidInUnc = u"?*:\"|<>\\/";
constexpr std::u16string_view kSkippedAtStart = u" /?:";
constexpr std::u16string_view kTrimmedAtEnd = u" /?";
constexpr std::u16string_view kHttp = u"http://";
constexpr std::u16string_view kHttps = u"https://";
constexpr size_t kMinLinkLength = 8;
constexpr size_t kMaxPlainUrl = 1024;
constexpr size_t kAscii = 128;

constexpr std::array<bool, kAscii> MakeSet(std::u16string_view characters) {
    std::array<bool, kAscii> set{};
    for (size_t control = 0; control < u' '; ++control) set[control] = true;
    for (const char16_t c : characters) set[c] = true;
    return set;
}

// What the canonical form may change: anywhere, and where a name begins.
constexpr auto kExamined = MakeSet(u"%?#\\\x7f");
constexpr auto kExaminedAtStart = MakeSet(u"%?#\\\x7f/.");

// A URL taken apart; the views point into the text that was cracked.
struct Components {
    INTERNET_SCHEME scheme = INTERNET_SCHEME_UNKNOWN;
    std::u16string_view host;
    INTERNET_PORT port = 0;
    std::u16string_view path;
    std::u16string_view extra;

    // Path and query lie side by side in the text.
    std::u16string_view PathWithExtra() const { return {path.data(), path.size() + extra.size()}; }
};

std::u16string_view View(const char16_t* data, DWORD length) {
    return data ? std::u16string_view(data, length) : std::u16string_view();
}

// A `length` of 0 leaves the end to be found.
std::optional<Components> Crack(const char16_t* url, DWORD length = 0) {
    URL_COMPONENTSW parts{};
    parts.dwStructSize = sizeof(parts);
    parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = 1;
    if (!InternetCrackUrlW(url, length, 0, &parts)) return std::nullopt;
    return Components{parts.nScheme, View(parts.lpszHostName, parts.dwHostNameLength), parts.nPort,
                      View(parts.lpszUrlPath, parts.dwUrlPathLength),
                      View(parts.lpszExtraInfo, parts.dwExtraInfoLength)};
}

// Whether the canonical form of a path is the path itself.
bool IsPlainPath(std::u16string_view path) {
    bool at_start = true;  // of a name
    for (const char16_t c : path) {
        if (c < kAscii && (at_start ? kExaminedAtStart : kExamined)[c]) return false;
        at_start = c == u'/';
    }
    return !at_start && path.back() != u' ';
}

// The same of a web address with a path, but for the letters of its host, which may be capital.
bool IsPlainUrl(std::u16string_view url) {
    if (url.size() > kMaxPlainUrl) return false;
    const std::u16string_view scheme = url.starts_with(kHttps) ? kHttps : kHttp;
    if (!url.starts_with(scheme)) return false;
    url.remove_prefix(scheme.size());
    const size_t slash = url.find(u'/');
    if (slash == std::u16string_view::npos) return false;
    const auto is_plain = [](char16_t c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
               c == u'.' || c == u'-';
    };
    return std::all_of(url.begin(), url.begin() + static_cast<ptrdiff_t>(slash), is_plain) &&
           IsPlainPath(url.substr(slash + 1));
}

// The canonical form, for a comparison that ignores case: the URL itself, which has to outlive this, or a
// text on the stack.
class CanonicalUrl {
public:
    CanonicalUrl(const char16_t* url, bool ignores_case) {
        if (const std::u16string_view text(url); ignores_case && IsPlainUrl(text)) {
            m_text = url;
            m_length = static_cast<DWORD>(text.size());
        } else if (InternetCanonicalizeUrlW(url, m_buffer.data(), &m_length, kCanonicalFlags)) {
            m_text = m_buffer.data();
        }
    }
    bool IsValid() const { return m_text != nullptr; }
    const char16_t* Text() const { return m_text; }
    std::optional<Components> Crack() const { return ::Crack(m_text, m_length); }

private:
    const char16_t* m_text = nullptr;
    std::array<char16_t, kBufferSize> m_buffer;
    DWORD m_length = static_cast<DWORD>(kBufferSize);
};

// The path that takes part in a comparison: with its query, without one trailing slash.
std::u16string_view ComparedPath(const Components& url, bool ignore_query) {
    const bool drop_extra = ignore_query && !url.extra.empty() && url.extra.front() == u'?';
    std::u16string_view path = drop_extra ? url.path : url.PathWithExtra();
    if (path.size() > 1 && path.back() == u'/') path.remove_suffix(1);
    return path;
}

bool IsParentPath(std::u16string_view parent, std::u16string_view child, std::u16string_view& relative) {
    if (parent.size() == 1) {
        relative = child.substr(1);
        return true;
    }
    if (child[parent.size()] != u'/' || !EqualIgnoringCase(parent, child.substr(0, parent.size())))
        return false;
    relative = child.substr(parent.size() + 1);
    return true;
}

CompareUrlsResult ComparePaths(std::u16string_view path1, std::u16string_view path2,
                               std::u16string* relative_out) {
    if (path1.size() == path2.size()) {
        return EqualIgnoringCase(path1, path2) ? CompareUrlsResult::equal : CompareUrlsResult::different;
    }
    const bool first_is_shorter = path1.size() < path2.size();
    std::u16string_view relative;
    if (!IsParentPath(first_is_shorter ? path1 : path2, first_is_shorter ? path2 : path1, relative)) {
        return CompareUrlsResult::different;
    }
    if (relative_out) relative_out->assign(relative);
    return first_is_shorter ? CompareUrlsResult::url1_is_parent : CompareUrlsResult::url2_is_parent;
}

bool HasWebScheme(std::u16string_view text) {
    return StartsWithIgnoringCase(text, kHttp) || StartsWithIgnoringCase(text, kHttps);
}

// Slash, colon, a letter, colon, slash, a letter, slash: a document type and a link kind.
bool HasLinkShape(std::u16string_view path) {
    const auto is_letter = [](char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); };
    return path.size() >= kMinLinkLength && path[0] == u'/' && path[1] == u':' && is_letter(path[2]) &&
           path[3] == u':' && path[4] == u'/' && is_letter(path[5]) && path[6] == u'/';
}

bool HoldsAny(std::u16string_view text, std::u16string_view characters) {
    return text.find_first_of(characters) != std::u16string_view::npos;
}

bool IsUnreserved(unsigned char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           std::string_view("-_.~/").find(static_cast<char>(byte)) != std::string_view::npos;
}

std::u16string Encode(std::u16string_view text, bool double_apostrophes) {
    static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    std::u16string encoded;
    encoded.reserve(text.size() + text.size() / 4);
    for (const char c : ToUtf8(text)) {
        const auto byte = static_cast<unsigned char>(c);
        if (IsUnreserved(byte)) {
            encoded += static_cast<char16_t>(byte);
            continue;
        }
        for (int times = double_apostrophes && byte == '\'' ? 2 : 1; times > 0; --times) {
            encoded += {u'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return encoded;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// "host[@SSL][@port]" of a UNC path, consumed from `rest`.
struct UncServer {
    std::u16string_view scheme;
    std::u16string_view host;
    uint32_t port = 0;  // 0: the scheme's default
};

bool ReadPort(std::u16string_view& rest, UncServer& server) {
    uint32_t port = 0;
    size_t digits = 0;
    for (; digits < rest.size() && rest[digits] >= u'0' && rest[digits] <= u'9'; ++digits) {
        port = port * 10 + (rest[digits] - u'0');
        if (port > 65535) return false;
    }
    if (port == 0 || digits == rest.size() || rest[digits] != u'\\') return false;
    rest.remove_prefix(digits);
    const uint32_t default_port =
        server.scheme == kHttps ? INTERNET_DEFAULT_HTTPS_PORT : INTERNET_DEFAULT_HTTP_PORT;
    server.port = port == default_port ? 0 : port;
    return true;
}

std::optional<UncServer> ReadUncServer(std::u16string_view& rest) {
    UncServer server;
    server.host = rest.substr(0, rest.find_first_of(u"@\\"));
    if (server.host.empty() || HoldsAny(server.host, kInvalidInUnc)) return std::nullopt;
    rest.remove_prefix(server.host.size());
    const bool ssl = StartsWithIgnoringCase(rest, u"@SSL");
    if (ssl) rest.remove_prefix(4);
    server.scheme = ssl ? kHttps : kHttp;
    if (rest.empty() || rest.front() != u'@') return server;
    rest.remove_prefix(1);
    if (!ReadPort(rest, server)) return std::nullopt;
    return server;
}

// What stands behind the server, with slashes; false when it can't be a path.
bool ReadUncPath(std::u16string_view rest, std::u16string& path) {
    static constexpr std::u16string_view kRoot = u"\\DavWWWRoot";
    if (StartsWithIgnoringCase(rest, kRoot)) rest.remove_prefix(kRoot.size());
    if (!rest.empty() && rest.front() == u'\\') rest.remove_prefix(1);
    path.assign(rest);
    for (char16_t& c : path) {
        if (c == u'\\') {
            c = u'/';
        } else if (kInvalidInUnc.find(c) != std::u16string_view::npos) {
            return false;
        }
    }
    return true;
}

std::u16string ErrorText(DWORD code) {
    bool has_text = false;
    return GetApiErrorText(code, has_text);
}

}  // namespace

CompareUrlsResult CompareUrls(const char16_t* url1, const char16_t* url2, std::u16string* relative_out,
                              bool ignore_query) {
    if (!url1 || !*url1 || !url2 || !*url2) return CompareUrlsResult::error;
    const CanonicalUrl canonical1(url1, /*ignores_case=*/true);
    const CanonicalUrl canonical2(url2, /*ignores_case=*/true);
    if (!canonical1.IsValid() || !canonical2.IsValid()) return CompareUrlsResult::error;
    const std::optional<Components> parts1 = canonical1.Crack();
    const std::optional<Components> parts2 = canonical2.Crack();
    if (!parts1 || !parts2) return CompareUrlsResult::error;
    const std::u16string_view path1 = ComparedPath(*parts1, ignore_query);
    const std::u16string_view path2 = ComparedPath(*parts2, ignore_query);
    if (path1.empty() || path2.empty()) return CompareUrlsResult::error;
    if (parts1->scheme != parts2->scheme || !EqualIgnoringCase(parts1->host, parts2->host) ||
        parts1->port != parts2->port) {
        return CompareUrlsResult::different;
    }
    if (relative_out) relative_out->clear();
    return ComparePaths(path1, path2, relative_out);
}

bool IsPlainlyBelow(std::u16string_view server_url, std::u16string_view url, std::u16string& out_relative) {
    if (server_url.empty() || url.size() <= server_url.size() + 1 || url.size() > kMaxPlainUrl ||
        !url.starts_with(server_url) || url[server_url.size()] != u'/')
        return false;
    const std::u16string_view path = url.substr(server_url.size() + 1);
    if (!IsPlainPath(path)) return false;
    out_relative.assign(path);
    return true;
}

CompareUrlsResult CompareRelativeUrls(const std::u16string& path1, const std::u16string& path2,
                                      std::u16string* relative_out) {
    static constexpr std::u16string_view kBase = u"http://server/";
    return CompareUrls(std::u16string(kBase) + path1, std::u16string(kBase) + path2, relative_out);
}

std::u16string GetUrlParent(const char16_t* url) {
    TRACE_NAME("GetUrlParent");
    if (!url || !*url) return {};
    const CanonicalUrl canonical(url, /*ignores_case=*/false);
    if (!canonical.IsValid()) {
        const DWORD code = GetLastError();
        LOG_LINE(Log::error, u"InternetCanonicalizeUrlW failed with error %d (%s) on '%s'", code,
                 ErrorText(code), MaskForLog(url));
        return {};
    }
    const std::optional<Components> parts = canonical.Crack();
    if (!parts) {
        const DWORD code = GetLastError();
        LOG_LINE(Log::error, u"InternetCrackUrlW failed with error %d (%s) on URL '%s', canonicalized '%s'",
                 code, ErrorText(code), MaskForLog(url), MaskForLog(canonical.Text()));
        return {};
    }
    // A "#" may stand in a name, so what looks like a fragment belongs to the path here.
    std::u16string_view path = parts->PathWithExtra();
    if (!path.empty() && path.back() == u'/') path.remove_suffix(1);
    if (path.empty()) {
        LOG_LINE(Log::verbose, u"No parent for URL '%s', canonicalized '%s'", MaskForLog(url),
                 MaskForLog(canonical.Text()));
        return {};
    }
    while (path.size() > 1 && path.back() != u'/') path.remove_suffix(1);
    path.remove_suffix(1);
    return std::u16string(canonical.Text(),
                          static_cast<size_t>(path.data() + path.size() - canonical.Text()));
}

bool IsDirectUrl(const char16_t* text) {
    if (!text || !HasWebScheme(text)) return false;
    const std::optional<Components> parts = Crack(text);
    return parts && IsValidFileOrFolderUrlPath(parts->path);
}

bool IsFileLinkUrl(const char16_t* text) {
    if (!text || !HasWebScheme(text)) return false;
    const std::optional<Components> parts = Crack(text);
    if (!parts) return false;
    if (HasLinkShape(parts->path)) return true;
    if (!IsValidFileOrFolderUrlPath(parts->path) || parts->extra.size() < kMinLinkLength) return false;
    return StartsWithIgnoringCase(parts->extra, u"?share=");
}

bool IsValidFileOrFolderUrlPath(std::u16string_view url) {
    return !HoldsAny(url, kInvalidInPath);
}

std::u16string WebDavPathToUrl(const char16_t* text) {
    std::u16string_view rest = text ? std::u16string_view(text) : std::u16string_view();
    if (!rest.starts_with(u"\\\\")) return {};
    rest.remove_prefix(2);
    if (!rest.empty() && rest.front() == u'?') {
        static constexpr std::u16string_view kUnc = u"\\UNC\\";
        rest.remove_prefix(1);
        if (!StartsWithIgnoringCase(rest, kUnc)) return {};
        rest.remove_prefix(kUnc.size());
    }
    const std::optional<UncServer> server = ReadUncServer(rest);
    std::u16string path;
    if (!server || !ReadUncPath(rest, path)) return {};
    std::u16string url = std::u16string(server->scheme) + std::u16string(server->host);
    if (server->port != 0) url += u":" + Widen(std::to_string(server->port));
    return path.empty() ? url : url + u"/" + path;
}

std::u16string NormalizeUserUrl(const char16_t* text) {
    std::u16string_view typed = text ? std::u16string_view(text) : std::u16string_view();
    const size_t start = typed.find_first_not_of(kSkippedAtStart);
    if (start == std::u16string_view::npos) return {};
    typed.remove_prefix(start);
    typed = typed.substr(0, typed.find(u'?'));
    if (typed.empty()) return {};
    const size_t mark = typed.find(u"://");
    std::u16string_view rest_typed = typed;
    std::u16string scheme(kHttps);
    if (mark != std::u16string_view::npos) {
        scheme.assign(typed.substr(0, mark + 3));
        if (!EqualIgnoringCase(scheme, kHttp) && !EqualIgnoringCase(scheme, kHttps)) return {};
        rest_typed.remove_prefix(mark + 3);
    }
    while (!rest_typed.empty() && kTrimmedAtEnd.find(rest_typed.back()) != std::u16string_view::npos) {
        rest_typed.remove_suffix(1);
    }
    const std::u16string rest = FromUtf8(UrlDecode(ToUtf8(rest_typed)));
    const size_t slash = rest.find(u'/');
    if (slash != std::u16string::npos && !IsValidFileOrFolderUrlPath(std::u16string_view(rest).substr(slash)))
        return {};
    return scheme + rest;
}

std::u16string UrlEncode(std::u16string_view text) {
    return Encode(text, false);
}

std::u16string UrlEncodeQuoted(std::u16string_view text) {
    return Encode(text, true);
}

std::string UrlDecode(std::string_view bytes) {
    std::string decoded;
    decoded.reserve(bytes.size());
    for (size_t at = 0; at < bytes.size();) {
        const size_t mark = std::min(bytes.find('%', at), bytes.size());
        decoded.append(bytes, at, mark - at);
        at = mark;
        if (at == bytes.size()) break;
        const int high = at + 2 < bytes.size() ? HexValue(bytes[at + 1]) : -1;
        const int low = at + 2 < bytes.size() ? HexValue(bytes[at + 2]) : -1;
        const bool is_escape = high >= 0 && low >= 0;
        decoded += is_escape ? static_cast<char>(high * 16 + low) : '%';
        at += is_escape ? 3 : 1;
    }
    return decoded;
}
