// Files of the profile: owned descriptors, complete reads and writes, atomic replacement. Any thread, a
// descriptor by one thread at a time.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/base.h"

namespace host {

namespace fs = std::filesystem;

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            m_descriptor = std::exchange(other.m_descriptor, -1);
        }
        return *this;
    }
    ~Descriptor() { reset(); }
    int get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }
    void reset();

private:
    int m_descriptor = -1;
};

// The result code of an errno value; ENOSPC and EDQUOT are 0x80070070.
HRESULT ResultOfErrno(int error);

// Throws a Failure that names the file: "can't <what> <path>: <reason>".
[[noreturn]] void ThrowErrno(std::string_view what, const fs::path& path, int error);

// The two throw a Failure; new files are the user's alone (mode 0600).
Descriptor OpenFile(const fs::path& path, int flags);
std::uint64_t FileSize(int descriptor, const fs::path& path);

// All bytes, or a Failure.
void WriteAt(int descriptor, const fs::path& path, const void* data, std::size_t size,
             std::uint64_t position);
// As many bytes as there are.
std::size_t ReadAt(int descriptor, const fs::path& path, void* data, std::size_t size,
                   std::uint64_t position);

void SyncFile(int descriptor, const fs::path& path);
void SyncFolder(const fs::path& folder);

// Nothing when there is no such file; a Failure when it can't be read or is larger than `limit`.
std::optional<std::string> ReadWhole(const fs::path& path, std::size_t limit = 64u << 20);

// Replaces the file atomically: after a crash it has either the old or the new content.
void ReplaceFile(const fs::path& path, std::string_view content);

// Renames an unusable file to a free name beside it and returns that name: the old one, the suffix, a number.
fs::path MoveAside(const fs::path& path, std::string_view suffix = ".bad-");

// Makes the folder and its parents, the user's alone.
void MakeFolder(const fs::path& folder);

// An advisory lock on a file of its own; held until it goes out of scope, also when the process is killed.
class FileLock {
public:
    FileLock() = default;
    enum class Mode { shared, exclusive };
    // Nothing when another holder keeps it for `timeout_ms`.
    static std::optional<FileLock> Take(const fs::path& path, Mode mode, int timeout_ms);
    // Changes the mode; on failure the old mode may be lost, so it is taken again.
    bool ChangeTo(Mode mode, int timeout_ms);
    // Gives it up also for child processes that have inherited it.
    void Release();
    // A child that inherits it holds the lock, too.
    int descriptor() const { return m_descriptor.get(); }

private:
    Descriptor m_descriptor;
};

}  // namespace host
