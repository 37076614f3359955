// The sources of the project as the architecture tests see them: which file includes which. One thread.
#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace architecture {

// Every line of a text file; empty when there is no such file.
std::vector<std::string> ReadLines(const std::filesystem::path& file);

struct Include {
    std::string name;  // a path from the repository's root, or what stands in angle brackets
    bool is_own;       // a file of this repository
};

struct Source {
    std::string path;  // from the repository's root
    bool is_test;      // tests, benchmarks, fuzz targets and what serves them alone
    std::vector<Include> includes;

    std::string Folder() const { return std::filesystem::path(path).parent_path().string(); }
};

// Every .h and .cpp below the folders of code. An include in quotes is looked for where the compiler looks
// for it: beside the file, at the root of its tree, at the repository's root, and in the platform's folders
// of headers.
class Sources {
public:
    explicit Sources(std::filesystem::path root);

    const std::vector<Source>& all() const { return m_sources; }
    // Folder to folder, over all sources that are no tests.
    std::map<std::string, std::set<std::string>> FolderGraph() const;

private:
    void Read(const std::filesystem::path& file);
    Include Resolve(const Source& source, const std::string& name) const;

    std::filesystem::path m_root;
    std::vector<Source> m_sources;
};

// The folders from the ground up: what stands in one level includes only levels before it. What is left over
// when no level can be built any more stands in `circle`.
struct Levels {
    std::vector<std::vector<std::string>> levels;
    std::vector<std::string> circle;
};
Levels SortIntoLevels(std::map<std::string, std::set<std::string>> graph);

}  // namespace architecture
