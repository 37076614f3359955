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
    std::string head;  // the last one, none where a body was recorded alone
    std::string body;
};

inline bool AreCapturesGiven() {
    return std::getenv("REPLAY_CAPTURES") != nullptr;
}

// A recorded exchange has one head or, after an interim answer, several.
inline Capture Separate(std::string name, std::string bytes) {
    Capture capture{std::move(name), {}, std::move(bytes)};
    while (capture.body.starts_with("HTTP/")) {
        const size_t unix_end = capture.body.find("\n\n"), end = capture.body.find("\r\n\r\n");
        const size_t start = end < unix_end ? end + 4 : unix_end + 2;
        const bool is_cut = std::min(unix_end, end) == std::string::npos;
        capture.head = capture.body.substr(0, is_cut ? std::string::npos : start);
        capture.body.erase(0, capture.head.size());
    }
    return capture;
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
        captures.push_back(Separate(std::string(folder) + "/" + entry.path().filename().string(), bytes));
    }
    std::sort(captures.begin(), captures.end(),
              [](const Capture& a, const Capture& b) { return a.name < b.name; });
    return captures;
}
