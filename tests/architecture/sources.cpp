#include "tests/architecture/sources.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <regex>
#include <utility>

namespace architecture {

namespace fs = std::filesystem;

namespace {

constexpr std::array kTrees{"src", "hostapi", "platform", "host", "devserver", "tests", "bench"};
constexpr std::array kPlatformHeaders{"platform/include", "platform/posix/include"};

bool IsTestPath(const std::string& path) {
    static const std::regex shape(
        "^(tests|bench)/|/(tests|testing|fuzz|bench)/|_(test|bench|fuzz)(_\\w+)?\\.(cpp|h)$");
    return std::regex_search(path, shape);
}

}  // namespace

std::vector<std::string> ReadLines(const fs::path& file) {
    std::ifstream stream(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

Sources::Sources(fs::path root) : m_root(std::move(root)) {
    for (const char* tree : kTrees) {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_root / tree)) {
            const std::string extension = entry.path().extension().string();
            if (extension == ".h" || extension == ".cpp") Read(entry.path());
        }
    }
    std::sort(m_sources.begin(), m_sources.end(),
              [](const Source& a, const Source& b) { return a.path < b.path; });
}

void Sources::Read(const fs::path& file) {
    static const std::regex shape("^\\s*#\\s*include\\s*([<\"])([^>\"]+)[>\"]");
    Source source{fs::relative(file, m_root).generic_string(), false, {}};
    source.is_test = IsTestPath(source.path);
    for (const std::string& line : ReadLines(file)) {
        std::smatch match;
        if (!std::regex_search(line, match, shape)) continue;
        source.includes.push_back(match[1] == "<" ? Include{match[2], false} : Resolve(source, match[2]));
    }
    m_sources.push_back(std::move(source));
}

Include Sources::Resolve(const Source& source, const std::string& name) const {
    std::vector<fs::path> places{source.Folder(), *fs::path(source.path).begin(), "", "platform/posix"};
    places.insert(places.end(), kPlatformHeaders.begin(), kPlatformHeaders.end());
    for (const fs::path& place : places) {
        if (fs::exists(m_root / place / name))
            return {(place / name).lexically_normal().generic_string(), true};
    }
    return {name, false};
}

std::map<std::string, std::set<std::string>> Sources::FolderGraph() const {
    std::map<std::string, std::set<std::string>> graph;
    for (const Source& source : m_sources) {
        if (source.is_test) continue;
        std::set<std::string>& targets = graph[source.Folder()];
        for (const Include& include : source.includes) {
            const std::string target = fs::path(include.name).parent_path().generic_string();
            if (include.is_own && target != source.Folder()) targets.insert(target);
        }
    }
    return graph;
}

Levels SortIntoLevels(std::map<std::string, std::set<std::string>> graph) {
    Levels sorted;
    while (!graph.empty()) {
        std::vector<std::string> level;
        for (const auto& [folder, targets] : graph) {
            const bool stands = std::none_of(targets.begin(), targets.end(), [&](const std::string& target) {
                return graph.contains(target);
            });
            if (stands) level.push_back(folder);
        }
        if (level.empty()) {
            for (const auto& [folder, targets] : graph) sorted.circle.push_back(folder);
            return sorted;
        }
        for (const std::string& folder : level) graph.erase(folder);
        sorted.levels.push_back(std::move(level));
    }
    return sorted;
}

}  // namespace architecture
