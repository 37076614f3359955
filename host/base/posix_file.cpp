#include "host/base/posix_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "host/base/failure.h"

namespace host {

void Descriptor::reset() {
    if (m_descriptor >= 0) close(std::exchange(m_descriptor, -1));
}

HRESULT ResultOfErrno(int error) {
    struct Row {
        int error;
        DWORD code;
    };
    static constexpr std::array kRows{
        Row{ENOENT, ERROR_FILE_NOT_FOUND},
        Row{ENOTDIR, ERROR_PATH_NOT_FOUND},
        Row{EMFILE, ERROR_TOO_MANY_OPEN_FILES},
        Row{ENFILE, ERROR_TOO_MANY_OPEN_FILES},
        Row{EACCES, ERROR_ACCESS_DENIED},
        Row{EPERM, ERROR_ACCESS_DENIED},
        Row{ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
        Row{EROFS, 19},
        Row{EISDIR, ERROR_ACCESS_DENIED},
        Row{EIO, ERROR_WRITE_FAULT},
        Row{EEXIST, ERROR_FILE_EXISTS},
        Row{ENOSPC, ERROR_DISK_FULL},
        Row{EDQUOT, ERROR_DISK_FULL},
        Row{ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
        Row{EFBIG, 223},
        Row{ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
        Row{EPIPE, 109},
    };
    const auto row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& r) { return r.error == error; });
    return HRESULT_FROM_WIN32(row == kRows.end() ? ERROR_GEN_FAILURE : row->code);
}

void ThrowErrno(std::string_view what, const fs::path& path, int error) {
    std::string reason;
    if (error == ENOSPC || error == EDQUOT) {
        reason = "the disk is full";
    } else if (error == EFBIG) {
        reason = "the file is larger than this system allows";
    } else {
        reason = std::strerror(error);
    }
    throw Failure(ResultOfErrno(error), "can't " + std::string(what) + " " + path.string() + ": " + reason);
}

Descriptor OpenFile(const fs::path& path, int flags) {
    int descriptor;
    do {
        descriptor = open(path.c_str(), flags | O_CLOEXEC, 0600);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) ThrowErrno(flags & (O_WRONLY | O_RDWR) ? "write" : "read", path, errno);
    return Descriptor(descriptor);
}

std::uint64_t FileSize(int descriptor, const fs::path& path) {
    struct stat status;
    if (fstat(descriptor, &status) != 0) ThrowErrno("read", path, errno);
    return static_cast<std::uint64_t>(status.st_size);
}

void WriteAt(int descriptor, const fs::path& path, const void* data, std::size_t size,
             std::uint64_t position) {
    auto bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = pwrite(descriptor, bytes, size, static_cast<off_t>(position));
        if (written < 0) {
            if (errno == EINTR) continue;
            ThrowErrno("write", path, errno);
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
        position += static_cast<std::uint64_t>(written);
    }
}

std::size_t ReadAt(int descriptor, const fs::path& path, void* data, std::size_t size,
                   std::uint64_t position) {
    std::size_t total = 0;
    while (total < size) {
        const ssize_t got = pread(descriptor, static_cast<char*>(data) + total, size - total,
                                  static_cast<off_t>(position + total));
        if (got < 0) {
            if (errno == EINTR) continue;
            ThrowErrno("read", path, errno);
        }
        if (got == 0) break;
        total += static_cast<std::size_t>(got);
    }
    return total;
}

void SyncFile(int descriptor, const fs::path& path) {
    if (fsync(descriptor) != 0) ThrowErrno("save", path, errno);
}

void SyncFolder(const fs::path& folder) {
    const Descriptor descriptor = OpenFile(folder, O_RDONLY | O_DIRECTORY);
    if (fsync(descriptor.get()) != 0 && errno != EINVAL) ThrowErrno("save", folder, errno);
}

std::optional<std::string> ReadWhole(const fs::path& path, std::size_t limit) {
    const int raw = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (raw < 0) {
        if (errno == ENOENT) return std::nullopt;
        ThrowErrno("read", path, errno);
    }
    const Descriptor descriptor(raw);
    const std::uint64_t size = FileSize(descriptor.get(), path);
    if (size > limit) throw Failure(kBadData, path.string() + " is too large to be read");
    std::string content(static_cast<std::size_t>(size), '\0');
    content.resize(ReadAt(descriptor.get(), path, content.data(), content.size(), 0));
    return content;
}

void ReplaceFile(const fs::path& path, std::string_view content) {
    fs::path beside = path;
    beside += ".new-" + std::to_string(getpid());
    try {
        const Descriptor descriptor = OpenFile(beside, O_WRONLY | O_CREAT | O_TRUNC);
        WriteAt(descriptor.get(), beside, content.data(), content.size(), 0);
        SyncFile(descriptor.get(), beside);
        if (rename(beside.c_str(), path.c_str()) != 0) ThrowErrno("write", path, errno);
    } catch (...) {
        unlink(beside.c_str());
        throw;
    }
    SyncFolder(path.parent_path().empty() ? fs::path(".") : path.parent_path());
}

fs::path MoveAside(const fs::path& path, std::string_view suffix) {
    for (int number = 1; number < 10000; ++number) {
        fs::path aside = path;
        aside += std::string(suffix) + std::to_string(number);
        if (link(path.c_str(), aside.c_str()) == 0) {
            unlink(path.c_str());
            return aside;
        }
        if (errno != EEXIST) ThrowErrno("set aside", path, errno);
    }
    throw Failure(E_FAIL, "too many files set aside beside " + path.string());
}

void MakeFolder(const fs::path& folder) {
    if (folder.empty() || fs::is_directory(folder)) return;
    MakeFolder(folder.parent_path());
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) ThrowErrno("make the folder", folder, errno);
    if (!fs::is_directory(folder)) ThrowErrno("make the folder", folder, ENOTDIR);
}

namespace {

bool TryLock(int descriptor, FileLock::Mode mode, int timeout_ms) {
    const int operation = (mode == FileLock::Mode::shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (flock(descriptor, operation) != 0) {
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

}  // namespace

std::optional<FileLock> FileLock::Take(const fs::path& path, Mode mode, int timeout_ms) {
    FileLock lock;
    lock.m_descriptor = OpenFile(path, O_RDWR | O_CREAT);
    if (!TryLock(lock.m_descriptor.get(), mode, timeout_ms)) return std::nullopt;
    return lock;
}

bool FileLock::ChangeTo(Mode mode, int timeout_ms) {
    if (TryLock(m_descriptor.get(), mode, timeout_ms)) return true;
    TryLock(m_descriptor.get(), Mode::shared, 0);
    return false;
}

void FileLock::Release() {
    if (m_descriptor) flock(m_descriptor.get(), LOCK_UN);
    m_descriptor.reset();
}

}  // namespace host
