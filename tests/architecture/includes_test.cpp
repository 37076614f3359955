// Holds every #include line of every tree against allowed_includes.txt, and the folders against each other:
// who may include whom, that nothing runs in a circle, that no folder grows into a drawer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/architecture/sources.h"

namespace architecture {
namespace {

constexpr std::size_t kMostSourcesInAFolder = 25;

const Sources& AllSources() {
    static const Sources sources(SOURCE_ROOT);
    return sources;
}

// What allowed_includes.txt says.
struct Rules {
    std::map<std::string, std::vector<std::string>> groups;  // "<posix>" to prefixes
    std::map<std::string, std::vector<std::string>> grants;  // folder to prefixes and groups

    Rules() {
        for (const std::string& line : ReadLines(SOURCE_ROOT "/tests/architecture/allowed_includes.txt")) {
            const std::size_t colon = line.find(':');
            if (line.starts_with('#') || colon == std::string::npos) continue;
            const bool is_group = line.starts_with("group ");
            const std::string name = is_group ? line.substr(6, colon - 6) : line.substr(0, colon);
            std::istringstream words(line.substr(colon + 1));
            std::vector<std::string>& list = is_group ? groups[name] : grants[name];
            for (std::string word; words >> word;) list.push_back(word);
        }
    }

    // The headers of the C++ standard library have no dot and no slash; those of Qt begin with a capital.
    static bool IsStandard(const Include& include) {
        return !include.is_own && include.name.find_first_of("./") == std::string::npos &&
               !std::isupper(static_cast<unsigned char>(include.name[0]));
    }
    // A folder names its own files, not those of the folders below it; a prefix of a library names all that
    // begins so.
    static bool Names(const std::string& word, const Include& include) {
        if (!include.is_own) return include.name.starts_with(word);
        return include.name == word || include.name.substr(0, include.name.rfind('/')) == word;
    }
    bool Covers(const std::string& grant, const Include& include) const {
        if (grant == "<std>") return IsStandard(include);
        const auto group = groups.find(grant);
        if (group == groups.end()) return Names(grant, include);
        return std::any_of(group->second.begin(), group->second.end(),
                           [&](const std::string& word) { return Names(word, include); });
    }
    // The grant that lets a folder include something.
    std::optional<std::string> GrantFor(const std::string& folder, const Include& include) const {
        for (const std::string& grant : grants.at(folder))
            if (Covers(grant, include)) return grant;
        return std::nullopt;
    }
};

bool IsOfItsOwnFolder(const Source& source, const Include& include) {
    return include.is_own && include.name.substr(0, include.name.rfind('/')) == source.Folder();
}

TEST(Includes, AreThoseThatTheTableGrants) {
    const Rules rules;
    std::map<std::string, std::set<std::string>> used;
    for (const Source& source : AllSources().all()) {
        if (source.is_test) continue;
        const std::string folder = source.Folder();
        if (!rules.grants.contains(folder)) {
            ADD_FAILURE() << source.path << " lies in a folder without a line in allowed_includes.txt";
            continue;
        }
        for (const Include& include : source.includes) {
            if (IsOfItsOwnFolder(source, include)) continue;
            const auto grant = rules.GrantFor(folder, include);
            if (grant) {
                used[folder].insert(*grant);
            } else {
                ADD_FAILURE() << source.path << " includes " << include.name << ", which is not granted";
            }
        }
    }
    for (const auto& [folder, grants] : rules.grants) {
        for (const std::string& grant : grants)
            EXPECT_TRUE(used[folder].contains(grant)) << folder << " doesn't use its grant " << grant;
    }
}

TEST(Includes, RunInNoCircleBetweenFolders) {
    const Levels sorted = SortIntoLevels(AllSources().FolderGraph());
    for (std::size_t level = 0; level < sorted.levels.size(); ++level) {
        std::cout << level << ":";
        for (const std::string& folder : sorted.levels[level]) std::cout << " " << folder;
        std::cout << "\n";
    }
    for (const std::string& folder : sorted.circle)
        ADD_FAILURE() << folder << " stands in a circle of folders, or above one";
    EXPECT_GT(sorted.levels.size(), 5u);
}

TEST(Folders, HoldFewSources) {
    std::map<std::string, std::size_t> sizes;
    for (const Source& source : AllSources().all()) ++sizes[source.Folder()];
    for (const auto& [folder, size] : sizes)
        EXPECT_LE(size, kMostSourcesInAFolder) << folder << " holds too many sources: divide it";
}

// A row of a table of docs/architecture.md opens with the folder's name in backticks.
TEST(Folders, HaveASentenceInTheArchitecture) {
    std::set<std::string> described;
    for (const std::string& line : ReadLines(SOURCE_ROOT "/docs/architecture.md")) {
        if (!line.starts_with("| `")) continue;
        const std::size_t end = line.find("/`", 3);
        if (end != std::string::npos) described.insert(line.substr(3, end - 3));
    }
    std::set<std::string> folders;
    for (const Source& source : AllSources().all()) folders.insert(source.Folder());
    for (const std::string& folder : folders)
        EXPECT_TRUE(described.contains(folder)) << "docs/architecture.md has no row for " << folder << "/";
}

}  // namespace
}  // namespace architecture
