// A temporary folder. One thread.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "host/base/posix_file.h"

namespace host::testing {

class TempFolder {
public:
    TempFolder() {
        std::string pattern = (fs::temp_directory_path() / "sphost-test-XXXXXX").string();
        m_path = mkdtemp(pattern.data());
    }
    ~TempFolder() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const fs::path& path() const { return m_path; }
    fs::path operator/(const std::string& name) const { return m_path / name; }

private:
    fs::path m_path;
};

inline void WriteText(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string ReadText(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Bytes that don't repeat at any block size.
inline std::string SomeBytes(std::size_t size, unsigned seed = 1) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        seed = seed * 1664525 + 1013904223;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

}  // namespace host::testing
