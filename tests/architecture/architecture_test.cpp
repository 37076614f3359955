// Holds the sources and the built library against the architecture: who may include whom, what is exported
// and linked. The allowed edges are data, in allowed_includes.txt.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = SOURCE_ROOT;

std::vector<std::string> Lines(const fs::path& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

std::map<std::string, std::vector<std::string>> ReadAllowedEdges() {
    std::map<std::string, std::vector<std::string>> edges;
    for (const std::string& line : Lines(kRoot / "tests/architecture/allowed_includes.txt")) {
        const size_t colon = line.find(':');
        if (line.starts_with('#') || colon == std::string::npos) continue;
        std::istringstream prefixes(line.substr(colon + 1));
        std::vector<std::string>& allowed = edges[line.substr(0, colon)];
        for (std::string prefix; prefixes >> prefix;) allowed.push_back(prefix);
    }
    return edges;
}

std::vector<fs::path> Sources(const fs::path& folder) {
    std::vector<fs::path> sources;
    if (!fs::exists(folder)) return sources;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        const std::string extension = entry.path().extension().string();
        if (extension == ".h" || extension == ".cpp") sources.push_back(entry.path());
    }
    return sources;
}

bool IsTest(const fs::path& path) {
    static const std::regex shape("_(test|bench|fuzz)(_\\w+)?\\.(cpp|h)$");
    return std::regex_search(path.string(), shape);
}

// What a file includes; names in angle brackets keep them.
std::vector<std::string> Includes(const fs::path& path) {
    static const std::regex shape("^\\s*#\\s*include\\s*([<\"])([^>\"]+)[>\"]");
    std::vector<std::string> includes;
    for (const std::string& line : Lines(path)) {
        std::smatch match;
        if (std::regex_search(line, match, shape)) {
            includes.push_back(match[1] == "<" ? "<" + match[2].str() + ">" : match[2].str());
        }
    }
    return includes;
}

// Headers of the C++ standard library have no dot; the C ones begin with c.
bool IsStandard(const std::string& include) {
    return include.starts_with('<') && include.find_first_of("./") == std::string::npos;
}

bool IsAllowed(const std::string& include, const std::vector<std::string>& allowed) {
    const std::string name = include.starts_with('<') ? include.substr(1, include.size() - 2) : include;
    for (const std::string& prefix : allowed) {
        if (prefix == "<std>" ? IsStandard(include) : name.starts_with(prefix)) return true;
    }
    return false;
}

const std::vector<std::string>* RuleFor(const std::map<std::string, std::vector<std::string>>& edges,
                                        const std::string& relative) {
    const std::vector<std::string>* rule = nullptr;
    size_t longest = 0;
    for (const auto& [folder, allowed] : edges) {
        if (relative.starts_with(folder) && folder.size() > longest) {
            longest = folder.size();
            rule = &allowed;
        }
    }
    return rule;
}

TEST(Architecture, FoldersIncludeOnlyWhatTheyMay) {
    const auto edges = ReadAllowedEdges();
    ASSERT_GT(edges.size(), 5u);
    size_t seen = 0;
    for (const char* top : {"src", "hostapi"}) {
        for (const fs::path& path : Sources(kRoot / top)) {
            if (IsTest(path)) continue;
            const std::string relative = fs::relative(path, kRoot).string();
            const std::vector<std::string>* rule = RuleFor(edges, relative);
            ASSERT_NE(rule, nullptr) << relative << " lies in a folder without a rule";
            for (const std::string& include : Includes(path)) {
                EXPECT_TRUE(IsAllowed(include, *rule)) << relative << " includes " << include;
                ++seen;
            }
        }
    }
    EXPECT_GT(seen, 100u);
}

TEST(Architecture, HostServerAndPlatformStandApart) {
    const std::regex of_plugin("^(plugin|base|http|sharepoint|session|afs|integration|dialogs)/");
    for (const fs::path& path : Sources(kRoot / "host")) {
        for (const std::string& include : Includes(path)) {
            EXPECT_FALSE(std::regex_search(include, of_plugin)) << path << " includes " << include;
            EXPECT_EQ(include.find("boost/"), std::string::npos) << path << " includes " << include;
        }
    }
    for (const fs::path& path : Sources(kRoot / "devserver")) {
        for (const std::string& include : Includes(path)) {
            EXPECT_FALSE(include.starts_with("platform/") || include.starts_with("hostapi/"))
                << path << " " << include;
        }
    }
    for (const fs::path& path : Sources(kRoot / "platform")) {
        for (const std::string& include : Includes(path)) {
            EXPECT_FALSE(include.starts_with("hostapi/") || std::regex_search(include, of_plugin))
                << path << " " << include;
        }
    }
}

std::string Output(const std::string& command) {
    std::string output;
    FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) return output;
    std::array<char, 4096> buffer;
    while (const size_t size = fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), size);
    pclose(pipe);
    return output;
}

TEST(Library, ExportsOneFunction) {
    std::istringstream symbols(Output("nm -D --defined-only " PLUGIN_FILE));
    std::set<std::string> exported;
    for (std::string address, kind, name; symbols >> address >> kind >> name;) exported.insert(name);
    EXPECT_EQ(exported, std::set<std::string>{"TMKE_GetPlugin"});
}

TEST(Library, LinksNoWindowLibraryNoServerLibraryAndNoDatabase) {
    const std::string needed = Output("readelf -d " PLUGIN_FILE);
    ASSERT_NE(needed.find("NEEDED"), std::string::npos);
    for (const char* name : {"Qt", "boost", "sqlite"})
        EXPECT_EQ(needed.find(name), std::string::npos) << needed;
}

}  // namespace
