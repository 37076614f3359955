#include "host/cache/cache_store.h"

#include <fcntl.h>
#include <sodium.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <set>

#include "host/base/failure.h"
#include "host/cache/cache_entry.h"
#include "host/cache/local_file.h"

namespace host {

namespace {

constexpr std::size_t kMaxName = 180;  // bytes

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
    entry.account = m_account.Get();
    entry.url = std::string(url);
    return entry;
}

// Settles an edit whose process has ended.
void CacheStore::SettleEdit(JournalEntry& entry) {
    const fs::path path = PathOf(entry);
    entry.editing = false;
    if (!HasFile(path)) {
        entry.complete = entry.dirty;
        NoteNoFile(entry);
    } else if (!IsKnown(entry, path)) {
        entry.dirty = true;
        entry.since = TimeOf(path);
        NoteFile(entry, path);
    }
    if (!entry.dirty) entry.since = 0;
    m_journal.Put(entry);
}

// A program that outlived its edit has saved into the local file: that waits to be sent like an edit.
void CacheStore::SettleLateSave(JournalEntry& entry) {
    const fs::path path = PathOf(entry);
    if (!HasFile(path) || IsKnown(entry, path)) return;
    entry.dirty = entry.complete = true;
    entry.since = TimeOf(path);
    NoteFile(entry, path);
    m_journal.Put(entry);
}

std::optional<UnsentDocument> CacheStore::Examine(JournalEntry entry) {
    const auto is_settled = [](const JournalEntry& e) {
        return !e.dirty && !e.writing && !e.editing && !e.created;
    };
    const bool is_here = OpenEntry(entry.key) != nullptr;
    if (is_settled(entry) && (is_here || IsKnown(entry, PathOf(entry)))) return std::nullopt;
    using State = UnsentDocument::State;
    UnsentDocument document{State::unsent, {}, PathOf(entry), 0};
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
            NoteFile(entry, PathOf(entry));
            m_journal.Put(entry);
        }
        if (entry.editing && !is_here) SettleEdit(entry);
        if (!entry.dirty && !is_here) SettleLateSave(entry);
        if (is_settled(entry)) return std::nullopt;
    } else {
        document.state = State::editing;
    }
    if (document.state != State::editing) {
        if (entry.dirty) {
            document.state = fs::exists(document.path) ? State::unsent : State::missing;
        } else {
            document.state = entry.writing || entry.created ? State::incomplete : State::editing;
        }
    }
    if (document.state == State::incomplete) document.path = WorkPathOf(entry);
    std::error_code error;
    const auto size = fs::file_size(document.path, error);
    document.size = error ? 0 : size;
    document.entry = std::move(entry);
    return document;
}

// Files that were set aside, and those of documents that the journal doesn't know.
void CacheStore::AddAside(std::vector<UnsentDocument>& documents) {
    std::set<std::string> known;
    for (const JournalEntry& entry : m_journal.All()) known.insert(entry.folder);
    for (const auto& folder : fs::directory_iterator(m_folder)) {
        if (!folder.is_directory()) continue;
        const bool is_unknown = !known.contains(folder.path().filename().string());
        for (const auto& file : fs::directory_iterator(folder.path())) {
            const bool is_own = file.path().filename().string().starts_with('.');
            if (!file.is_regular_file() || is_own || !(is_unknown || IsSetAside(file.path()))) continue;
            UnsentDocument document{UnsentDocument::State::aside, {}, file.path(), file.file_size()};
            document.entry.folder = folder.path().filename().string();
            document.entry.url = ReadWhole(folder.path() / ".url").value_or("");
            document.entry.key = KeyOf(document.entry.url);
            document.entry.since = TimeOf(file.path());
            documents.push_back(std::move(document));
        }
    }
}

std::vector<UnsentDocument> CacheStore::Unsent() {
    std::vector<UnsentDocument> documents;
    for (JournalEntry& entry : m_journal.All()) {
        if (auto document = Examine(std::move(entry))) documents.push_back(std::move(*document));
    }
    AddAside(documents);
    return documents;
}

std::optional<UnsentDocument> CacheStore::Unsent(std::string_view url) {
    const auto entry = m_journal.Find(KeyOf(url));
    return entry ? Examine(*entry) : std::nullopt;
}

void CacheStore::SetUnsentUse(std::string_view url, UnsentUse use) {
    const std::lock_guard lock(m_mutex);
    m_uses[KeyOf(url)] = use;
}

UnsentUse CacheStore::UseOf(const std::string& key) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_uses.find(key);
    return found == m_uses.end() ? UnsentUse::refuse : found->second;
}

void CacheStore::NoteCreating(std::string_view url) {
    JournalEntry entry = Entry(url);
    entry.created = true;
    if (entry.since == 0) entry.since = std::time(nullptr);
    m_journal.Put(entry);
}

void CacheStore::ForgetCreating(std::string_view url) {
    auto entry = m_journal.Find(KeyOf(url));
    if (!entry || !entry->created) return;
    entry->created = false;
    if (!entry->dirty && !entry->writing) entry->since = 0;
    m_journal.Put(*entry);
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
    if (!entry->dirty && !entry->editing && !IsKnown(*entry, PathOf(*entry))) SetAside(PathOf(*entry));
    m_journal.Remove(entry->key);
    for (const fs::path& path : {PathOf(*entry), WorkPathOf(*entry)}) {
        if (unlink(path.c_str()) != 0 && errno != ENOENT) ThrowErrno("remove", path, errno);
    }
}

void CacheStore::DropAside(const UnsentDocument& document) {
    const fs::path folder = document.path.parent_path();
    const auto lock = FileLock::Take(folder / ".lock", FileLock::Mode::exclusive, 1000);
    if (!lock) throw Failure(kInUse, document.path.string() + " is in use by another sphost");
    if (unlink(document.path.c_str()) != 0 && errno != ENOENT) ThrowErrno("remove", document.path, errno);
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

void CacheStore::LinkSource(std::string_view url, const fs::path& source) {
    const auto entry = OpenEntry(KeyOf(url));
    if (!entry) throw Failure(E_UNEXPECTED, std::string(url) + " isn't open");
    entry->LinkSource(source);
}

EditedFile CacheStore::BeginEdit(std::string_view url) {
    const auto open = OpenEntry(KeyOf(url));
    if (!open) throw Failure(E_FAIL, std::string(url) + " isn't open");
    return open->BeginEdit();
}

bool CacheStore::FinishEdit(std::string_view url) {
    const auto open = OpenEntry(KeyOf(url));
    if (!open) throw Failure(E_FAIL, std::string(url) + " isn't open");
    return open->FinishEdit();
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
