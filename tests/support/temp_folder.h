// A folder that goes with its object, and small files for tests. One thread.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace testing_support {

class TempFolder {
public:
    TempFolder() {
        std::random_device random;
        do {
            m_path = std::filesystem::temp_directory_path() / ("sp-test-" + std::to_string(random()));
        } while (!std::filesystem::create_directory(m_path));
        std::filesystem::permissions(m_path, std::filesystem::perms::owner_all);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

// Makes the file with the folders that it lies in.
inline void WriteText(const std::filesystem::path& path, const std::string& bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

// Empty when there is no such file.
inline std::string ReadText(const std::filesystem::path& path) {
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

}  // namespace testing_support
