// The headers of a request as callers write them, and the header block of an answer as it comes in.
// Plain values: one thread at a time.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/wininet.h"
#include "utf8.h"

namespace platform::internet {

struct Header {
    std::string name;
    std::string value;
};

// ASCII letters alone lose their case.
bool EqualsIgnoringCase(std::string_view a, std::string_view b);

// What is not UTF-8 is taken as Latin-1, so that no byte of a header is lost.
std::u16string FromHeaderBytes(std::string_view bytes);

class RequestHeaders {
public:
    // Adds the lines of a header text by HTTP_ADDREQ_FLAG_ADD and _REPLACE; changes nothing unless all lines
    // are good. ERROR_SUCCESS, ERROR_INVALID_PARAMETER, ERROR_HTTP_HEADER_NOT_FOUND or ERROR_ALREADY_EXISTS.
    DWORD Add(std::u16string_view text, DWORD modifiers);
    const Header* Find(std::string_view name) const;
    const std::vector<Header>& all() const { return m_headers; }

private:
    DWORD Apply(const Header& header, DWORD modifiers);

    std::vector<Header> m_headers;
};

class ResponseHeaders {
public:
    static constexpr std::size_t kLimit = 256 * 1024;

    // Takes one line as it came, line end and all; a status line starts anew. False beyond the limit.
    bool AddLine(std::string_view line);
    void clear();

    unsigned status() const { return m_status; }  // 0 before the first status line
    bool complete() const { return m_complete; }  // the empty line has come
    std::string_view reason() const { return m_reason; }
    const std::vector<std::string>& lines() const {
        return m_lines;
    }  // the status line first, without line ends
    // The value of the index-th header of that name.
    std::optional<std::string_view> Find(std::string_view name, std::size_t index) const;

private:
    std::vector<std::string> m_lines;
    std::string m_reason;
    std::size_t m_size = 0;
    unsigned m_status = 0;
    bool m_complete = false;
};

}  // namespace platform::internet
