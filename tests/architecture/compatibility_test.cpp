// Holds docs/compatibility.md and the code against each other: what is kept on purpose has a section there
// and a line at the code that names the section.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "tests/architecture/sources.h"

namespace architecture {
namespace {

namespace fs = std::filesystem;

std::set<std::string> Sections() {
    std::set<std::string> sections;
    for (const std::string& line : ReadLines(SOURCE_ROOT "/docs/compatibility.md"))
        if (line.starts_with("### ")) sections.insert(line.substr(4));
    return sections;
}

// Section to the file that names it, over everything that is code or a resource.
std::map<std::string, std::string> NamedAtTheCode() {
    static const std::regex shape("docs/compatibility\\.md: ([^\"<]+?)\\.?\\s*(-->)?$");
    std::map<std::string, std::string> named;
    for (const char* tree : {"src", "host", "platform", "devserver"}) {
        for (const fs::directory_entry& entry :
             fs::recursive_directory_iterator(fs::path(SOURCE_ROOT) / tree)) {
            if (!entry.is_regular_file()) continue;
            for (const std::string& line : ReadLines(entry.path())) {
                std::smatch match;
                if (std::regex_search(line, match, shape)) named[match[1]] = entry.path().string();
            }
        }
    }
    return named;
}

TEST(Compatibility, EachSectionIsNamedAtTheCodeAndEachNameHasASection) {
    const std::set<std::string> sections = Sections();
    const std::map<std::string, std::string> named = NamedAtTheCode();
    EXPECT_GT(sections.size(), 5u);
    for (const std::string& section : sections)
        EXPECT_TRUE(named.contains(section)) << "no line at the code names the section '" << section << "'";
    for (const auto& [section, file] : named)
        EXPECT_TRUE(sections.contains(section)) << file << " names '" << section << "', which has no section";
}

}  // namespace
}  // namespace architecture
