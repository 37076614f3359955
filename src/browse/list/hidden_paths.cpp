#include "browse/list/hidden_paths.h"

#include "base/text/ignore_case.h"

namespace {

constexpr std::u16string_view kAnyFolder = u"*/";

bool IsSameLetter(char16_t pattern, char16_t letter) {
    if (pattern == letter) return true;
    return EqualIgnoringCase({&pattern, 1}, {&letter, 1});
}

bool FitsOne(char16_t pattern, char16_t letter) {
    return pattern == u'?' ? letter != u'/' : IsSameLetter(pattern, letter);
}

// Goes back to the last star alone, so that the time is bounded by the product of the lengths.
bool Fits(std::u16string_view pattern, std::u16string_view text) {
    size_t p = 0;
    size_t t = 0;
    size_t star = std::u16string_view::npos;
    size_t star_text = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == u'*') {
            star = p++;
            star_text = t;
        } else if (p < pattern.size() && FitsOne(pattern[p], text[t])) {
            ++p;
            ++t;
        } else if (star != std::u16string_view::npos && text[star_text] != u'/') {
            p = star + 1;
            t = ++star_text;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(u'*', p) == std::u16string_view::npos;
}

bool FitsAny(const std::vector<std::u16string>& patterns, std::u16string_view text) {
    for (const std::u16string& pattern : patterns)
        if (Fits(pattern, text)) return true;
    return false;
}

}  // namespace

HiddenPaths::HiddenPaths(const std::vector<std::u16string>& patterns) {
    for (const std::u16string& pattern : patterns) {
        std::u16string_view rest(pattern);
        const bool in_any_folder = rest.starts_with(kAnyFolder);
        if (in_any_folder) rest.remove_prefix(kAnyFolder.size());
        while (rest.starts_with(u'/')) rest.remove_prefix(1);
        while (rest.ends_with(u'/')) rest.remove_suffix(1);
        if (!rest.empty()) (in_any_folder ? m_names : m_paths).emplace_back(rest);
    }
}

bool HiddenPaths::Hides(std::u16string_view path) const {
    const size_t slash = path.rfind(u'/');
    const std::u16string_view name = slash == std::u16string_view::npos ? path : path.substr(slash + 1);
    return FitsAny(m_paths, path) || FitsAny(m_names, name);
}
