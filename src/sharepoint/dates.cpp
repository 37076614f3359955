// Dates in ISO 8601, parsed by hand because a listing has two of them for each item. Re-entrant.
#include <charconv>
#include <string>

#include "platform/base.h"
#include "sharepoint/reading.h"

namespace {

bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

// Reads fields of digits from the left by the rules of scanf: blanks before a number are skipped, and a sign
// counts as one of its characters.
class Scanner {
public:
    explicit Scanner(std::u16string_view text) : m_text(text) {}

    bool Number(size_t width, uint32_t& number) {
        while (!m_text.empty() &&
               (m_text.front() == u' ' || (m_text.front() >= u'\t' && m_text.front() <= u'\r')))
            m_text.remove_prefix(1);
        const bool negative = m_text.starts_with(u'-');
        size_t at = negative || m_text.starts_with(u'+') ? 1 : 0;
        const size_t first_digit = at;
        number = 0;
        for (; at < width && at < m_text.size() && IsDigit(m_text[at]); ++at) {
            number = number * 10 + (m_text[at] - u'0');
        }
        if (at == first_digit) return false;
        if (negative) number = 0 - number;
        m_text.remove_prefix(at);
        return true;
    }

    bool Literal(char16_t c) {
        if (!m_text.starts_with(c)) return false;
        m_text.remove_prefix(1);
        return true;
    }

    // A point and digits; 0 when there are none.
    float Fraction() const {
        if (m_text.size() < 2 || m_text.front() != u'.' || !IsDigit(m_text[1])) return 0;
        std::string digits = "0.";
        for (const char16_t c : m_text.substr(1)) {
            if (!IsDigit(c)) break;
            digits += static_cast<char>(c);
        }
        float fraction = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), fraction);
        return fraction;
    }

private:
    std::u16string_view m_text;
};

struct Fields {
    uint32_t year, month, day, hour, minute, second;
    float fraction;
};

bool ReadFields(std::u16string_view text, Fields& fields) {
    Scanner scanner(text);
    if (!scanner.Number(4, fields.year) || !scanner.Literal(u'-') || !scanner.Number(2, fields.month) ||
        !scanner.Literal(u'-') || !scanner.Number(2, fields.day) || !scanner.Literal(u'T') ||
        !scanner.Number(2, fields.hour) || !scanner.Literal(u':') || !scanner.Number(2, fields.minute) ||
        !scanner.Literal(u':') || !scanner.Number(2, fields.second)) {
        return false;
    }
    fields.fraction = scanner.Fraction();
    return true;
}

}  // namespace

// docs/compatibility.md: Times without a zone are read as UTC
uint64_t SharePoint2010::Utility::ParseDateTimeIso8601(std::u16string_view text, Log::Level log_level) {
    TRACE_NAME("SharePoint2010::Utility::ParseDateTimeIso8601");
    Fields fields{};
    if (!ReadFields(text, fields)) {
        LOG_LINE(log_level, u"Failed to parse date-time ISO8601 from '%s'", MaskForLog(std::u16string(text)));
        return 0;
    }
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(fields.year);
    time.wMonth = static_cast<WORD>(fields.month);
    time.wDay = static_cast<WORD>(fields.day);
    time.wHour = static_cast<WORD>(fields.hour);
    time.wMinute = static_cast<WORD>(fields.minute);
    time.wSecond = static_cast<WORD>(fields.second);
    FILETIME file_time{};
    if (!SystemTimeToFileTime(&time, &file_time)) {
        LOG_LINE(Log::error, u"SystemTimeToFileTime failed. GetLastError=%u", GetLastError());
        return 0;
    }
    const uint64_t ticks = (static_cast<uint64_t>(file_time.dwHighDateTime) << 32) | file_time.dwLowDateTime;
    // Half a tick is added before truncation, so that a fraction one rounding error short still counts whole.
    const float fraction_ticks = (fields.fraction + 0.00000005f) * 10'000'000.0f;
    return ticks + static_cast<uint64_t>(fraction_ticks);
}
