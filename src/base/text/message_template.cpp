#include "base/text/message_template.h"

#include "base/text/number_format.h"

namespace {

constexpr size_t kMaxDigits = 31;
constexpr size_t kMaxPlaceholder =
    1000;  // beyond it no text of the catalogue goes: such a placeholder is dropped

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
    SetText(index, FormatNumber(std::to_string(number)));
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
