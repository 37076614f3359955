#include <cstring>

#include "tests/support/http_client.h"

namespace testing_support {

namespace {

std::string ToLower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 0x20);
    return lower;
}

std::string_view Trim(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos) return {};
    return text.substr(start, text.find_last_not_of(" \t\r\n") - start + 1);
}

}  // namespace

std::string HttpAnswer::Header(const std::string& name) const {
    const auto found = headers.find(ToLower(name));
    return found == headers.end() ? std::string() : found->second;
}

void HttpAnswer::AddHeader(std::string_view line) {
    if (const std::size_t colon = line.find(':'); colon != std::string_view::npos)
        headers.emplace(ToLower(line.substr(0, colon)), Trim(line.substr(colon + 1)));
}

std::string Escape(const std::string& text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string escaped;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (isalnum(byte) || (c != '\0' && std::strchr("-_.~/", c))) {
            escaped += c;
        } else {
            escaped += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return escaped;
}

}  // namespace testing_support
