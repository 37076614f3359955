#include "host/cache/cache_store.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>

#include "host/base/failure.h"
#include "host/cache/cache_entry.h"

namespace host {

namespace {

constexpr std::size_t kMaxName = 180;  // bytes

std::string Stamp(const fs::path& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return {};
    const auto number = [](auto value) { return std::to_string(value) + ":"; };
    return number(status.st_size) + number(status.st_ino) + number(status.st_mtim.tv_sec) +
           number(status.st_mtim.tv_nsec) + number(status.st_ctim.tv_sec) + number(status.st_ctim.tv_nsec);
}

// Whether the edited file is still there; anything else of its name is moved aside.
bool HasFile(const fs::path& path) {
    std::error_code error;
    if (fs::is_regular_file(path, error)) return true;
    fs::rename(path, path.string() + ".replaced-" + std::to_string(getpid()), error);
    return false;
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

std::string BootId() {
    const Descriptor descriptor(open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC));
    std::array<char, 64> text{};
    const ssize_t size = descriptor ? read(descriptor.get(), text.data(), text.size()) : 0;
    return std::string(text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
}

}  // namespace

std::string LocalNameOf(std::string_view url) {
    const std::size_t slash = url.find_last_of('/');
    std::string name(url.substr(slash == std::string_view::npos ? 0 : slash + 1));
    for (char& byte : name) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x20 || code == 0x7F || byte == '/' || byte == '\\') byte = '_';
    }
    if (name.empty() || name.front() == '.' || name.front() == '-') name.insert(0, "_");
    if (name.size() <= kMaxName) return name;
    const std::size_t dot = name.find_last_of('.');
    std::string extension = dot == std::string::npos || name.size() - dot > 20 ? "" : name.substr(dot);
    std::size_t keep = kMaxName - extension.size();
    while (keep > 0 && (static_cast<unsigned char>(name[keep]) & 0xC0) == 0x80) --keep;
    return name.substr(0, keep) + extension;
}

CacheStore::CacheStore(fs::path folder, Warn warn)
    : m_folder((MakeFolder(folder), std::move(folder))),
      m_profile_warn(std::move(warn)),
      m_journal(m_folder / "journal.db"),
      m_boot(BootId()) {}

std::string CacheStore::KeyOf(std::string_view url) {
    while (url.ends_with('/')) url.remove_suffix(1);
    std::string key(url);
    for (char& byte : key) {
        if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
    }
    return key;
}

JournalEntry CacheStore::Entry(std::string_view url) {
    const std::string key = KeyOf(url);
    if (auto entry = m_journal.Find(key)) return *entry;
    std::array<unsigned char, 16> hash;
    crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(key.data()),
                       key.size(), nullptr, 0);
    JournalEntry entry;
    entry.key = key;
    entry.folder = ToHex(hash.data(), hash.size());
    entry.name = LocalNameOf(url);
    entry.account = account();
    entry.url = std::string(url);
    return entry;
}

void CacheStore::SetAccount(std::string url) {
    const std::lock_guard lock(m_mutex);
    m_account = std::move(url);
}

std::string CacheStore::account() const {
    const std::lock_guard lock(m_mutex);
    return m_account;
}

// Settles an edit whose process has ended.
void CacheStore::SettleEdit(JournalEntry& entry) {
    const fs::path path = PathOf(entry);
    entry.editing = false;
    const std::string stamp = HasFile(path) ? Stamp(path) : std::string();
    if (stamp.empty()) {
        entry.complete = entry.dirty;
    } else if (stamp != entry.edit_stamp && HashOf(path) != entry.edit_hash) {
        entry.dirty = true;
        struct stat status;
        entry.since = stat(path.c_str(), &status) == 0 ? status.st_mtim.tv_sec : std::time(nullptr);
    }
    entry.edit_stamp.clear();
    entry.edit_hash.clear();
    if (!entry.dirty) entry.since = 0;
    m_journal.Put(entry);
}

std::optional<UnsentDocument> CacheStore::Examine(JournalEntry entry) {
    if (!entry.dirty && !entry.writing && !entry.editing) return std::nullopt;
    using State = UnsentDocument::State;
    UnsentDocument document{State::unsent, {}, PathOf(entry), 0};
    const bool is_here = OpenEntry(entry.key) != nullptr;
    std::optional<FileLock> lock;
    if (!is_here && fs::is_directory(FolderOf(entry))) {
        lock = FileLock::Take(LockPathOf(entry), FileLock::Mode::exclusive, 0);
        if (lock) {
            // The other process may have finished before this one had the lock.
            const auto fresh = m_journal.Find(entry.key);
            if (!fresh) return std::nullopt;
            entry = *fresh;
        }
    }
    if (is_here || lock || !fs::is_directory(FolderOf(entry))) {
        if (entry.writing && !is_here && !fs::exists(WorkPathOf(entry))) {
            // The work file had already replaced the copy when the process ended.
            entry.writing = false;
            entry.dirty = entry.complete = true;
            m_journal.Put(entry);
        }
        if (entry.editing && !is_here) SettleEdit(entry);
    } else {
        document.state = State::editing;
    }
    if (!entry.dirty && !entry.writing && !entry.editing) return std::nullopt;
    if (document.state != State::editing) {
        if (entry.dirty) {
            document.state = fs::exists(document.path) ? State::unsent : State::missing;
        } else {
            document.state = entry.writing ? State::incomplete : State::editing;
        }
    }
    if (document.state == State::incomplete) document.path = WorkPathOf(entry);
    std::error_code error;
    const auto size = fs::file_size(document.path, error);
    document.size = error ? 0 : size;
    document.entry = std::move(entry);
    return document;
}

std::vector<UnsentDocument> CacheStore::Unsent() {
    std::vector<UnsentDocument> documents;
    for (JournalEntry& entry : m_journal.All()) {
        if (auto document = Examine(std::move(entry))) documents.push_back(std::move(*document));
    }
    return documents;
}

std::optional<UnsentDocument> CacheStore::Unsent(std::string_view url) {
    const auto entry = m_journal.Find(KeyOf(url));
    return entry ? Examine(*entry) : std::nullopt;
}

void CacheStore::AllowUnsent(std::string_view url, bool allow) {
    const std::lock_guard lock(m_mutex);
    m_allowed[KeyOf(url)] = allow;
}

bool CacheStore::IsUnsentAllowed(const std::string& key) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_allowed.find(key);
    return found != m_allowed.end() && found->second;
}

void CacheStore::Drop(std::string_view url) {
    const auto entry = m_journal.Find(KeyOf(url));
    if (!entry) return;
    const fs::path folder = FolderOf(*entry);
    std::optional<FileLock> lock;
    if (const auto open = OpenEntry(entry->key)) {
        open->Forget();
    } else if (fs::is_directory(folder)) {
        lock = FileLock::Take(LockPathOf(*entry), FileLock::Mode::exclusive, 1000);
        if (!lock) throw Failure(kInUse, entry->url + " is in use by another sphost");
    }
    m_journal.Remove(entry->key);
    for (const fs::path& path : {PathOf(*entry), WorkPathOf(*entry)}) {
        if (unlink(path.c_str()) != 0 && errno != ENOENT) ThrowErrno("remove", path, errno);
    }
}

void CacheStore::DiscardIncomplete(std::string_view url) {
    auto entry = m_journal.Find(KeyOf(url));
    if (!entry || !entry->writing || OpenEntry(entry->key)) return;
    const auto lock = FileLock::Take(LockPathOf(*entry), FileLock::Mode::exclusive, 1000);
    if (!lock) return;
    entry->writing = false;
    if (!entry->dirty) entry->since = 0;
    m_journal.Put(*entry);
    unlink(WorkPathOf(*entry).c_str());
}

fs::path CacheStore::BeginEdit(std::string_view url) {
    const auto open = OpenEntry(KeyOf(url));
    if (!open) throw Failure(E_FAIL, std::string(url) + " isn't open");
    return open->BeginEdit([](const fs::path& path) { return std::pair(Stamp(path), HashOf(path)); });
}

bool CacheStore::FinishEdit(std::string_view url) {
    const auto open = OpenEntry(KeyOf(url));
    if (!open) throw Failure(E_FAIL, std::string(url) + " isn't open");
    return open->FinishEdit([](const fs::path& path, const JournalEntry& before) {
        if (!HasFile(path)) {
            throw Failure(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND),
                          path.string() + " was removed, or replaced by something that is no file");
        }
        const std::string stamp = Stamp(path);
        return stamp != before.edit_stamp && HashOf(path) != before.edit_hash;
    });
}

ComPtr<CacheEntry> CacheStore::OpenEntry(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_open.find(key);
    if (found == m_open.end() || !found->second->TryAddRef()) return nullptr;
    return ComPtr<CacheEntry>::attach(found->second);
}

void CacheStore::Register(const std::string& key, CacheEntry* entry) {
    const std::lock_guard lock(m_mutex);
    m_open[key] = entry;
}

void CacheStore::Unregister(const std::string& key, CacheEntry* entry) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_open.find(key);
    if (found != m_open.end() && found->second == entry) m_open.erase(found);
}

}  // namespace host
