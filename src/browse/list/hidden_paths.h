// Which items of a site the user wants out of sight, by patterns. Immutable; any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// A pattern without a slash names an item of the site's root folder, one that begins with a slash a path
// below the site, one that begins with "*/" a name in any folder. "*" stands for any characters but a slash,
// "?" for one of them; letters match in either case.
class HiddenPaths {
public:
    HiddenPaths() = default;
    explicit HiddenPaths(const std::vector<std::u16string>& patterns);

    bool IsEmpty() const { return m_paths.empty() && m_names.empty(); }
    // `path` is relative to the site, without slashes at its ends.
    bool Hides(std::u16string_view path) const;

private:
    std::vector<std::u16string> m_paths;  // of a whole path
    std::vector<std::u16string> m_names;  // of the last part of any path
};
