// Answers recorded from real servers, for tests: the files of the folder that the environment variable
// REPLAY_CAPTURES names, as a server would send their bodies.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

struct Capture {
    std::string name;
    std::string body;
};

inline bool AreCapturesGiven() {
    return std::getenv("REPLAY_CAPTURES") != nullptr;
}

// The body of a recorded exchange, which has one head or, after an interim answer, several.
inline std::string WithoutHeads(std::string bytes) {
    while (bytes.starts_with("HTTP/")) {
        const size_t unix_end = bytes.find("\n\n"), end = bytes.find("\r\n\r\n");
        if (std::min(unix_end, end) == std::string::npos) return {};
        bytes.erase(0, end < unix_end ? end + 4 : unix_end + 2);
    }
    return bytes;
}

// The files of one folder, in the order of their names; none where it isn't there. `extension` limits them.
inline std::vector<Capture> CapturesOf(const char* folder, const std::string& extension = {}) {
    namespace fs = std::filesystem;
    std::vector<Capture> captures;
    const char* const root = std::getenv("REPLAY_CAPTURES");
    if (!root || !fs::is_directory(fs::path(root) / folder)) return captures;
    for (const auto& entry : fs::directory_iterator(fs::path(root) / folder)) {
        if (!entry.is_regular_file() || (!extension.empty() && entry.path().extension() != extension))
            continue;
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
        captures.push_back(
            {std::string(folder) + "/" + entry.path().filename().string(), WithoutHeads(bytes)});
    }
    std::sort(captures.begin(), captures.end(),
              [](const Capture& a, const Capture& b) { return a.name < b.name; });
    return captures;
}
