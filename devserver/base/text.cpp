#include "base/text.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace devserver {
namespace {

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = Lower(c);
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

bool IsAlphanumeric(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr char kBase64Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

}  // namespace

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return Lower(x) == Lower(y); });
}

bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && EqualsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

std::size_t FindIgnoringCase(std::string_view text, std::string_view part) {
    for (std::size_t i = 0; i + part.size() <= text.size(); ++i)
        if (EqualsIgnoringCase(text.substr(i, part.size()), part)) return i;
    return std::string_view::npos;
}

std::string ToLower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), Lower);
    return result;
}

std::string ToUpper(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    return result;
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && std::strchr(" \t\r\n", text.front())) text.remove_prefix(1);
    while (!text.empty() && std::strchr(" \t\r\n", text.back())) text.remove_suffix(1);
    return text;
}

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    while (true) {
        auto end = text.find(separator);
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::string ReplaceAll(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

std::optional<std::int64_t> ParseInteger(std::string_view text) {
    std::int64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
    return value;
}

std::string PercentDecode(std::string_view text, bool plus_is_blank) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
            HexValue(text[i + 2]) >= 0) {
            result += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
            i += 2;
        } else {
            result += plus_is_blank && text[i] == '+' ? ' ' : text[i];
        }
    }
    return result;
}

std::string PercentEncode(std::string_view text, std::string_view also_plain) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string result;
    result.reserve(text.size() + text.size() / 4);
    for (char c : text) {
        if (IsAlphanumeric(c) || also_plain.find(c) != std::string_view::npos) {
            result += c;
        } else {
            auto byte = static_cast<unsigned char>(c);
            result += '%';
            result += kDigits[byte >> 4];
            result += kDigits[byte & 15];
        }
    }
    return result;
}

std::string EncodePath(std::string_view path) {
    return PercentEncode(path, "-_.~/'()!@$*,;:=");
}

std::pair<std::string, std::string> SplitAddress(const std::string& address) {
    auto scheme = address.find("://");
    if (scheme == std::string::npos) return {"", address};
    auto slash = address.find('/', scheme + 3);
    if (slash == std::string::npos) return {address.substr(scheme + 3), "/"};
    return {address.substr(scheme + 3, slash - scheme - 3), address.substr(slash)};
}

QueryParameters ParseQuery(std::string_view query) {
    QueryParameters result;
    if (query.empty()) return result;
    for (const auto& piece : Split(query, '&')) {
        if (piece.empty()) continue;
        auto equals = piece.find('=');
        result.emplace_back(
            PercentDecode(piece.substr(0, equals), true),
            equals == std::string::npos ? std::string() : PercentDecode(piece.substr(equals + 1), true));
    }
    return result;
}

std::string QueryValue(const QueryParameters& query, std::string_view name) {
    for (const auto& [key, value] : query)
        if (EqualsIgnoringCase(key, name)) return value;
    return {};
}

bool HasQuery(const QueryParameters& query, std::string_view name) {
    return std::any_of(query.begin(), query.end(),
                       [&](const auto& pair) { return EqualsIgnoringCase(pair.first, name); });
}

std::string HtmlEscape(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&#39;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

bool IsValidUtf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = lead < 0x80                   ? 1
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xF0 && lead < 0xF5 ? 4
                                                           : 0;
        if (length == 0 || i + length > text.size()) return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
        auto second = length > 1 ? static_cast<unsigned char>(text[i + 1]) : 0;
        bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
        bool out_of_range = (lead == 0xED && second > 0x9F) || (lead == 0xF4 && second > 0x8F);
        if (overlong || out_of_range) return false;
        i += length;
    }
    return true;
}

std::string Base64urlEncode(std::string_view bytes) {
    std::string result;
    std::uint32_t bits = 0;
    int count = 0;
    for (char c : bytes) {
        bits = (bits << 8) | static_cast<unsigned char>(c);
        for (count += 8; count >= 6; count -= 6) result += kBase64Digits[(bits >> (count - 6)) & 63];
    }
    if (count > 0) result += kBase64Digits[(bits << (6 - count)) & 63];
    return result;
}

std::optional<std::string> Base64urlDecode(std::string_view text) {
    std::string result;
    std::uint32_t bits = 0;
    int count = 0;
    for (char c : text) {
        const char* digit = c ? std::strchr(kBase64Digits, c) : nullptr;
        if (!digit) return std::nullopt;
        bits = (bits << 6) | static_cast<std::uint32_t>(digit - kBase64Digits);
        if ((count += 6) >= 8) result += static_cast<char>((bits >> (count -= 8)) & 255);
    }
    return result;
}

std::string Base64Encode(std::string_view bytes) {
    auto text = Base64urlEncode(bytes);
    for (char& c : text) c = c == '-' ? '+' : c == '_' ? '/' : c;
    text.append((4 - text.size() % 4) % 4, '=');
    return text;
}

std::optional<std::string> Base64Decode(std::string_view text) {
    std::string url_form(text);
    while (!url_form.empty() && url_form.back() == '=') url_form.pop_back();
    for (char& c : url_form) c = c == '+' ? '-' : c == '/' ? '_' : c;
    return Base64urlDecode(url_form);
}

std::string FormatGuid(std::string_view hex) {
    std::string guid;
    for (std::size_t i = 0; i < hex.size() && i < 32; ++i) {
        if (i == 8 || i == 12 || i == 16 || i == 20) guid += '-';
        guid += hex[i];
    }
    return guid;
}

std::string HexEncode(std::string_view bytes, bool upper) {
    const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string result;
    for (char c : bytes) {
        result += digits[static_cast<unsigned char>(c) >> 4];
        result += digits[static_cast<unsigned char>(c) & 15];
    }
    return result;
}

}  // namespace devserver
