#include "base/text/message_template.h"

#include <array>

#include "base/text/encoding.h"
#include "platform/text.h"

namespace {

constexpr size_t kMaxDigits = 31;
constexpr size_t kMaxPlaceholder =
    1000;  // beyond it no text of the catalogue goes: such a placeholder is dropped

struct LocaleNumberFormat {
    std::array<char16_t, 16> decimal{};
    std::array<char16_t, 16> thousands{};
    NUMBERFMTW format{};

    LocaleNumberFormat() {
        GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, decimal.data(),
                       static_cast<int>(decimal.size()));
        GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_STHOUSAND, thousands.data(),
                       static_cast<int>(thousands.size()));
        std::array<char16_t, 32> grouping{};
        GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SGROUPING, grouping.data(),
                       static_cast<int>(grouping.size()));
        DWORD negative_order = 1;
        GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_INEGNUMBER | LOCALE_RETURN_NUMBER,
                       reinterpret_cast<char16_t*>(&negative_order), 2);
        format = {0, 1, GroupingNumber(grouping.data()), decimal.data(), thousands.data(), negative_order};
    }

    // "3;0" groups by three, "3;2;0" by three and then two: 3 and 32.
    static UINT GroupingNumber(const char16_t* text) {
        UINT number = 0;
        for (; *text; ++text) {
            if (*text > u'0' && *text <= u'9') number = number * 10 + static_cast<UINT>(*text - u'0');
        }
        return number;
    }
};

const NUMBERFMTW& SystemNumberFormat() {
    static const LocaleNumberFormat format;
    return format.format;
}

[[maybe_unused]] const NUMBERFMTW& g_format_at_load = SystemNumberFormat();

}  // namespace

MessageTemplate MessageTemplate::Create(std::u16string text) {
    MessageTemplate made;
    made.m_source = std::move(text);
    return made;
}

void MessageTemplate::SetText(size_t index, std::u16string text) {
    if (index == 0 || index > kMaxPlaceholder) return;
    if (m_values.size() <= index) m_values.resize(index + 1);
    m_values[index] = std::move(text);
    m_changed = true;
}

void MessageTemplate::SetNumber(size_t index, int64_t number) {
    const std::u16string digits = Widen(std::to_string(number));
    std::array<char16_t, 128> formatted{};
    const bool done = GetNumberFormatW(LOCALE_SYSTEM_DEFAULT, 0, digits.c_str(), &SystemNumberFormat(),
                                       formatted.data(), static_cast<int>(formatted.size())) != 0;
    SetText(index, done ? std::u16string(formatted.data()) : digits);
}

void MessageTemplate::Parse() {
    const auto add_literal = [this](size_t offset, size_t length) {
        if (length != 0) m_segments.push_back({offset, length, -1});
    };
    size_t at = 0;
    while (at < m_source.size()) {
        const size_t mark = std::min(m_source.find(u'%', at), m_source.size());
        add_literal(at, mark - at);
        at = mark;
        while (at < m_source.size() && m_source[at] == u'%') ++at;
        const size_t run = at - mark;
        add_literal(mark, run / 2);
        if (run % 2 == 0) continue;
        const size_t digits = at;
        size_t number = 0;
        for (;
             at < m_source.size() && at - digits < kMaxDigits && m_source[at] >= u'0' && m_source[at] <= u'9';
             ++at) {
            number = std::min(number * 10 + static_cast<size_t>(m_source[at] - u'0'), kMaxPlaceholder + 1);
        }
        if (number != 0) m_segments.push_back({digits, at - digits, static_cast<int64_t>(number)});
    }
    m_parsed = true;
}

const std::u16string& MessageTemplate::Render() {
    if (!m_parsed) Parse();
    if (!m_changed) return m_rendered;
    m_rendered.clear();
    for (const Segment& segment : m_segments) {
        if (segment.placeholder < 0) {
            m_rendered.append(m_source, segment.offset, segment.length);
        } else if (const auto index = static_cast<size_t>(segment.placeholder);
                   index < m_values.size() && m_values[index]) {
            m_rendered += *m_values[index];
        }
    }
    m_changed = false;
    return m_rendered;
}
