#include "host/cache/local_file.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <sstream>

#include "host/base/text.h"

namespace host {

namespace {

constexpr char kAside[] = ".kept-";
constexpr char kNone[] = "none";

// The part of a stamp that copying a profile to another disk keeps: size and time of the last change.
std::string_view ContentPart(std::string_view stamp) {
    return stamp.substr(0, stamp.find('/'));
}

}  // namespace

std::string StampOf(const fs::path& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return {};
    std::ostringstream stamp;
    stamp << status.st_size << ':' << status.st_mtim.tv_sec << ':' << status.st_mtim.tv_nsec << '/'
          << status.st_ino << ':' << status.st_ctim.tv_sec << ':' << status.st_ctim.tv_nsec;
    return stamp.str();
}

std::string HashOf(const fs::path& path) {
    const Descriptor descriptor = OpenFile(path, O_RDONLY);
    crypto_generichash_state state;
    crypto_generichash_init(&state, nullptr, 0, crypto_generichash_BYTES);
    std::string block(1u << 18, '\0');
    std::uint64_t position = 0;
    while (const std::size_t got = ReadAt(descriptor.get(), path, block.data(), block.size(), position)) {
        crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(block.data()), got);
        position += got;
    }
    std::array<unsigned char, crypto_generichash_BYTES> hash;
    crypto_generichash_final(&state, hash.data(), hash.size());
    return ToHex(hash.data(), hash.size());
}

std::int64_t TimeOf(const fs::path& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? status.st_mtim.tv_sec : std::time(nullptr);
}

bool HasFile(const fs::path& path) {
    std::error_code error;
    if (fs::is_regular_file(path, error)) return true;
    fs::rename(path, path.string() + ".replaced-" + std::to_string(getpid()), error);
    return false;
}

bool IsKnown(const JournalEntry& entry, const fs::path& path) {
    const std::string stamp = StampOf(path);
    if (stamp.empty()) return true;
    if (entry.known_stamps.empty()) {
        // Entries of former versions hold no stamp.
        std::error_code error;
        return fs::file_size(path, error) == entry.base_size && !error;
    }
    std::istringstream stamps(entry.known_stamps);
    for (std::string known; stamps >> known;) {
        if (known == stamp) return true;
        if (entry.known_hash.empty() && ContentPart(known) == ContentPart(stamp)) return true;
    }
    std::error_code error;
    return !entry.known_hash.empty() && fs::is_regular_file(path, error) && HashOf(path) == entry.known_hash;
}

void NoteFile(JournalEntry& entry, const fs::path& path) {
    entry.known_stamps = StampOf(path);
    entry.known_hash.clear();
}

void NoteNoFile(JournalEntry& entry) {
    entry.known_stamps = kNone;
    entry.known_hash.clear();
}

bool IsSetAside(const fs::path& path) {
    return path.filename().string().find(kAside) != std::string::npos;
}

fs::path SetAside(const fs::path& path) {
    return MoveAside(path, kAside);
}

}  // namespace host
