#include "base/text/ignore_case.h"

#include "platform/text.h"

bool EqualIgnoringCase(std::u16string_view a, std::u16string_view b) {
    return CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, a.data(), static_cast<int>(a.size()), b.data(),
                          static_cast<int>(b.size())) == CSTR_EQUAL;
}

bool StartsWithIgnoringCase(std::u16string_view text, std::u16string_view start) {
    return text.size() >= start.size() && EqualIgnoringCase(text.substr(0, start.size()), start);
}
