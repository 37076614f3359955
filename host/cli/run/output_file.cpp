#include "host/cli/run/output_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace cli {

namespace {

// The target of symbolic links, which may not exist yet.
host::fs::path BehindLinks(host::fs::path path) {
    std::error_code error;
    for (int links = 0; host::fs::is_symlink(path, error); ++links) {
        if (links == 40) host::ThrowErrno("write", path, ELOOP);
        path = path.parent_path() / host::fs::read_symlink(path, error);
    }
    return path;
}

mode_t ModeOfNewFiles() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

OutputFile::OutputFile(host::fs::path target) : m_target(BehindLinks(std::move(target))) {
    struct stat there {};
    const bool exists = stat(m_target.c_str(), &there) == 0;
    if (exists && !S_ISREG(there.st_mode)) {
        m_file = host::OpenFile(m_target, O_WRONLY);
        return;
    }
    if (exists && access(m_target.c_str(), W_OK) != 0) host::ThrowErrno("write", m_target, errno);
    std::string part = (m_target.parent_path() / ".sphost-XXXXXX").string();
    m_file = host::Descriptor(mkostemp(part.data(), O_CLOEXEC));
    if (!m_file) host::ThrowErrno("write", m_target, errno);
    m_part = part;
    fchmod(m_file.get(), exists ? there.st_mode & 07777 : ModeOfNewFiles());
}

OutputFile::~OutputFile() {
    if (!m_part.empty()) unlink(m_part.c_str());
}

void OutputFile::Write(const void* data, std::size_t size) {
    for (auto bytes = static_cast<const char*>(data); size > 0;) {
        const ssize_t written = write(m_file.get(), bytes, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) host::ThrowErrno("write", m_target, errno);
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

bool OutputFile::ReplacesOther() const {
    if (m_part.empty() || !host::fs::exists(m_target)) return false;
    const host::Descriptor there = host::OpenFile(m_target, O_RDONLY);
    const host::Descriptor written = host::OpenFile(m_part, O_RDONLY);
    std::string one(1u << 16, '\0');
    std::string other = one;
    for (std::uint64_t position = 0;;) {
        const std::size_t got = host::ReadAt(there.get(), m_target, one.data(), one.size(), position);
        if (host::ReadAt(written.get(), m_part, other.data(), other.size(), position) != got ||
            one.compare(0, got, other, 0, got) != 0)
            return true;
        if (got == 0) return false;
        position += got;
    }
}

void OutputFile::Finish(std::uint64_t modified) {
    constexpr std::uint64_t kEpoch = 116444736000000000;
    if (!m_part.empty() && modified > kEpoch) {
        const auto seconds = static_cast<time_t>((modified - kEpoch) / 10000000);
        const std::array<timespec, 2> times{{{0, UTIME_NOW}, {seconds, 0}}};
        futimens(m_file.get(), times.data());
    }
    if (!m_part.empty()) host::SyncFile(m_file.get(), m_part);
    m_file.reset();
    if (m_part.empty()) return;
    if (rename(m_part.c_str(), m_target.c_str()) != 0) host::ThrowErrno("write", m_target, errno);
    m_part.clear();
    const host::fs::path folder = m_target.parent_path();
    host::SyncFolder(folder.empty() ? host::fs::path(".") : folder);
}

}  // namespace cli
