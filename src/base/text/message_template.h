// A text with numbered placeholders (%1, %2), filled in and rendered. A plain value; one thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class MessageTemplate {
public:
    // "%%" stands for one "%"; a placeholder is "%" and up to 31 digits, and one without a number is dropped.
    static MessageTemplate Create(std::u16string text);

    void SetText(size_t index, std::u16string text);
    // Shown with the separators and grouping of the user's locale, without decimals.
    void SetNumber(size_t index, int64_t number);
    // A placeholder without a value renders empty.
    const std::u16string& Render();

private:
    struct Segment {
        size_t offset;
        size_t length;
        int64_t placeholder;  // -1 for literal text
    };

    void Parse();

    std::u16string m_source;
    std::u16string m_rendered;
    std::vector<std::optional<std::u16string>> m_values;
    std::vector<Segment> m_segments;
    bool m_parsed = false;
    bool m_changed = true;
};
