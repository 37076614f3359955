#include "internet/headers.h"

#include <algorithm>

#include "platform/text.h"

namespace platform::internet {

namespace {

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c;
}

bool IsTokenChar(char c) {
    const bool alphanumeric = (c >= '0' && c <= '9') || (Lower(c) >= 'a' && Lower(c) <= 'z');
    return alphanumeric || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

std::string_view Trim(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view WithoutLineEnd(std::string_view line) {
    if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

std::optional<Header> ParseLine(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == 0 || colon == std::string_view::npos) return std::nullopt;
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = Trim(line.substr(colon + 1));
    const auto is_control = [](char c) {
        return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
    };
    if (!std::all_of(name.begin(), name.end(), IsTokenChar) ||
        std::any_of(value.begin(), value.end(), is_control))
        return std::nullopt;
    return Header{std::string(name), std::string(value)};
}

// Nothing for a text with a line that is no header.
std::optional<std::vector<Header>> ParseLines(std::string_view text) {
    std::vector<Header> headers;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = WithoutLineEnd(text.substr(0, std::min(end + 1, text.size())));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty()) continue;
        std::optional<Header> header = ParseLine(line);
        if (!header) return std::nullopt;
        headers.push_back(std::move(*header));
    }
    return headers;
}

}  // namespace

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Lower(x) == Lower(y); });
}

std::u16string FromHeaderBytes(std::string_view bytes) {
    std::u16string text(bytes.size(), u'\0');
    if (bytes.empty()) return text;
    const int size =
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(bytes.size()),
                            text.data(), static_cast<int>(text.size()));
    if (size > 0)
        text.resize(static_cast<std::size_t>(size));
    else
        std::transform(bytes.begin(), bytes.end(), text.begin(),
                       [](char c) { return static_cast<unsigned char>(c); });
    return text;
}

DWORD RequestHeaders::Add(std::u16string_view text, DWORD modifiers) {
    constexpr DWORD kKnown = HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE;
    if (modifiers & ~kKnown) return ERROR_INVALID_PARAMETER;
    const auto headers = ParseLines(ToUtf8(text));
    if (!headers) return ERROR_INVALID_PARAMETER;
    RequestHeaders changed = *this;
    for (const Header& header : *headers)
        if (const DWORD error = changed.Apply(header, modifiers)) return error;
    *this = std::move(changed);
    return ERROR_SUCCESS;
}

DWORD RequestHeaders::Apply(const Header& header, DWORD modifiers) {
    const auto same_name = [&](const Header& other) { return EqualsIgnoringCase(other.name, header.name); };
    if (modifiers & HTTP_ADDREQ_FLAG_REPLACE) {
        const bool found = std::erase_if(m_headers, same_name) > 0;
        if (!found && !(modifiers & HTTP_ADDREQ_FLAG_ADD)) return ERROR_HTTP_HEADER_NOT_FOUND;
        // Replacing by nothing takes the header away.
        if (header.value.empty() && found) return ERROR_SUCCESS;
    } else if (!(modifiers & HTTP_ADDREQ_FLAG_ADD) &&
               std::any_of(m_headers.begin(), m_headers.end(), same_name)) {
        return ERROR_ALREADY_EXISTS;
    }
    m_headers.push_back(header);
    return ERROR_SUCCESS;
}

const Header* RequestHeaders::Find(std::string_view name) const {
    const auto found = std::find_if(m_headers.begin(), m_headers.end(), [&](const Header& header) {
        return EqualsIgnoringCase(header.name, name);
    });
    return found != m_headers.end() ? &*found : nullptr;
}

void ResponseHeaders::clear() {
    *this = ResponseHeaders();
}

// A folded line (RFC 9112 5.2) goes on with the header before it.
bool ResponseHeaders::AddLine(std::string_view line) {
    m_size += line.size();
    if (m_size > kLimit) return false;
    line = WithoutLineEnd(line);
    if (line.substr(0, 5) == "HTTP/") {
        const std::size_t size = m_size;
        clear();
        m_size = size;
        const std::string_view rest = Trim(line.substr(std::min(line.find(' '), line.size())));
        std::size_t digits = 0;
        for (; digits < rest.size() && digits < 3 && rest[digits] >= '0' && rest[digits] <= '9'; ++digits)
            m_status = m_status * 10 + static_cast<unsigned>(rest[digits] - '0');
        m_reason = Trim(rest.substr(digits));
        m_lines.emplace_back(line);
    } else if (line.empty()) {
        m_complete = m_status != 0;
    } else if (!m_complete && !m_lines.empty()) {
        const bool is_folded = line.front() == ' ' || line.front() == '\t';
        if (!is_folded) {
            m_lines.emplace_back(line);
        } else if (m_lines.size() > 1) {  // a status line has no continuation
            (m_lines.back() += ' ') += Trim(line);
        }
    }
    return true;
}

std::optional<std::string_view> ResponseHeaders::Find(std::string_view name, std::size_t index) const {
    for (std::size_t i = 1; i < m_lines.size(); ++i) {
        const std::string_view line = m_lines[i];
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos || !EqualsIgnoringCase(Trim(line.substr(0, colon)), name))
            continue;
        if (index-- == 0) return Trim(line.substr(colon + 1));
    }
    return std::nullopt;
}

}  // namespace platform::internet
