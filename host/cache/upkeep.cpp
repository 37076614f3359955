#include "host/cache/upkeep.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <ctime>

#include "host/base/failure.h"
#include "host/cache/cache_entry.h"
#include "host/cache/local_file.h"

namespace host {

namespace {

constexpr std::string_view kLimitsFile = "cache.json";
constexpr std::int64_t kDay = 24 * 60 * 60;

// Held while nobody else has the document open.
std::optional<FileLock> LockUnused(CacheStore& store, const JournalEntry& entry) {
    if (store.OpenEntry(entry.key) || !fs::is_directory(store.FolderOf(entry))) return std::nullopt;
    return FileLock::Take(store.LockPathOf(entry), FileLock::Mode::exclusive, 0);
}

// Opening a document touches its lock. A copy that an older version has made has only its own time.
std::int64_t LastUse(CacheStore& store, const JournalEntry& entry) {
    std::int64_t used = 0;
    for (const fs::path& path : {store.LockPathOf(entry), store.PathOf(entry)}) {
        struct stat status;
        if (stat(path.c_str(), &status) == 0) used = std::max<std::int64_t>(used, status.st_mtim.tv_sec);
    }
    return used;
}

LocalCopy::State StateOf(CacheStore& store, const LocalCopy& copy) {
    using State = LocalCopy::State;
    const auto unsent = store.Unsent(copy.url);
    if (unsent) return unsent->state == UnsentDocument::State::editing ? State::open : State::unsent;
    const auto entry = store.journal().Find(copy.key);
    return entry && fs::exists(store.FolderOf(*entry)) && !LockUnused(store, *entry) ? State::open
                                                                                     : State::kept;
}

// All copies with their sizes and times; whether they are in use is not looked at.
std::vector<LocalCopy> ListCopies(CacheStore& store) {
    std::vector<LocalCopy> copies;
    for (const JournalEntry& entry : store.journal().All()) {
        LocalCopy copy{LocalCopy::State::kept, entry.key, entry.account, entry.url, store.PathOf(entry)};
        std::error_code error;
        const auto size = fs::file_size(copy.path, error);
        copy.size = error ? 0 : size;
        copy.used = LastUse(store, entry);
        copies.push_back(std::move(copy));
    }
    return copies;
}

bool DropUnused(CacheStore& store, const LocalCopy& copy) {
    if (store.Unsent(copy.url)) return false;
    auto entry = store.journal().Find(copy.key);
    const auto lock = entry ? LockUnused(store, *entry) : std::nullopt;
    if (!lock) return false;
    // Another process may have changed it before this one had the lock.
    entry = store.journal().Find(copy.key);
    const fs::path path = entry ? store.PathOf(*entry) : fs::path();
    const bool waits = entry && (entry->dirty || entry->writing || entry->editing || entry->created ||
                                 !IsKnown(*entry, path));
    if (!entry || waits) return false;
    // A kill in between leaves an entry without a file, which is downloaded again.
    if (unlink(path.c_str()) != 0 && errno != ENOENT) ThrowErrno("remove", path, errno);
    store.journal().Remove(entry->key);
    return true;
}

bool IsPartFile(const fs::path& path) {
    return path.filename().string().starts_with(".part-");
}

// Of the names that end in the number of the process that writes them.
bool IsOfDeadWriter(const fs::path& path) {
    constexpr std::string_view kSuffix = ".new-";
    const std::string name = path.filename().string();
    const std::size_t at = name.rfind(kSuffix);
    if (at == std::string::npos) return false;
    const char* const start = name.data() + at + kSuffix.size();
    const char* const end = name.data() + name.size();
    pid_t process = 0;
    const auto [rest, error] = std::from_chars(start, end, process);
    return error == std::errc() && rest == end && process > 0 && kill(process, 0) != 0 && errno == ESRCH;
}

void RemoveParts(const fs::path& folder) {
    std::vector<fs::path> parts;
    for (const auto& file : fs::directory_iterator(folder))
        if (IsPartFile(file.path())) parts.push_back(file.path());
    if (parts.empty()) return;
    const auto lock = FileLock::Take(folder / ".lock", FileLock::Mode::exclusive, 0);
    if (!lock) return;
    for (const fs::path& part : parts) unlink(part.c_str());
}

}  // namespace

std::vector<LocalCopy> CopiesIn(CacheStore& store) {
    std::vector<LocalCopy> copies = ListCopies(store);
    for (LocalCopy& copy : copies) copy.state = StateOf(store, copy);
    std::erase_if(copies, [](const LocalCopy& copy) {
        return copy.state == LocalCopy::State::kept && !fs::exists(copy.path);
    });
    return copies;
}

Dropped DropCopies(CacheStore& store, const std::function<bool(const LocalCopy&)>& is_wanted) {
    Dropped dropped;
    for (LocalCopy& copy : CopiesIn(store)) {
        if (!is_wanted(copy)) continue;
        if (copy.state == LocalCopy::State::kept && DropUnused(store, copy)) {
            ++dropped.count;
            dropped.size += copy.size;
        } else {
            dropped.kept.push_back(std::move(copy));
        }
    }
    return dropped;
}

CacheLimits CacheLimits::Load(const Profile& profile) {
    CacheLimits limits;
    const Json json = profile.LoadJson(kLimitsFile);
    if (!json.IsObject()) return limits;
    const auto bytes = json.FindMember("bytes");
    if (bytes != json.MemberEnd() && bytes->value.IsUint64()) limits.bytes = bytes->value.GetUint64();
    const auto days = json.FindMember("days");
    if (days != json.MemberEnd() && days->value.IsUint()) limits.days = days->value.GetUint();
    return limits;
}

void CacheLimits::Save(const Profile& profile) const {
    profile.UpdateJson(kLimitsFile, [&](Json& json) {
        json.SetObject();
        json.AddMember("bytes", bytes, json.GetAllocator());
        json.AddMember("days", days, json.GetAllocator());
    });
}

Dropped ApplyLimits(CacheStore& store, const CacheLimits& limits, std::int64_t now) {
    std::vector<LocalCopy> copies = ListCopies(store);
    std::sort(copies.begin(), copies.end(),
              [](const LocalCopy& a, const LocalCopy& b) { return a.used > b.used; });
    Dropped dropped;
    std::uint64_t held = 0;
    for (const LocalCopy& copy : copies) {
        const bool fits = copy.size <= limits.bytes && held <= limits.bytes - copy.size;
        const bool is_young = (now - copy.used) / kDay < limits.days;
        // Locks are taken only for what goes: another process may be opening any of the others.
        if ((fits && is_young) || !fs::exists(copy.path) || !DropUnused(store, copy)) {
            held += copy.size;
        } else {
            ++dropped.count;
            dropped.size += copy.size;
        }
    }
    return dropped;
}

void RemoveLeftovers(const Profile& profile, CacheStore& store) {
    for (const auto& file : fs::directory_iterator(profile.folder()))
        if (file.is_regular_file() && IsOfDeadWriter(file.path())) unlink(file.path().c_str());
    for (const auto& folder : fs::directory_iterator(store.folder()))
        if (folder.is_directory()) RemoveParts(folder.path());
}

}  // namespace host
