#include "host/cache/cache_entry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/base/host_objects.h"
#include "host/cache/local_file.h"

namespace host {

namespace {

constexpr int kLockTimeoutMs = 3000;

std::atomic<unsigned> g_part_number{0};

}  // namespace

ServerState StateOf(TMK::IAFS_Name* name) {
    ServerState state;
    ComPtr<TMK::IAFS_FileSys> file_system;
    ComPtr<TMK::IAFS_FileInfo> info;
    if (!name || FAILED(name->get_FileSys(file_system.put())) || !file_system ||
        FAILED(file_system->GetFileInfo(name, nullptr, nullptr, info.put())) || !info) {
        return state;
    }
    ULONGLONG time = 0;
    ULONGLONG size = 0;
    if (FAILED(info->get_LastWriteTime(&time)) || FAILED(info->get_Size(&size))) return state;
    return {time, size};
}

std::string UrlOf(TMK::IAFS_Name* name) {
    ComPtr<TMK::IAFS_FileSys> file_system;
    Bstr url;
    if (!name || FAILED(name->get_FileSys(file_system.put())) || !file_system ||
        FAILED(file_system->NameToString(name, 0, nullptr, url.put()))) {
        throw Failure(E_INVALIDARG, "a name has no URL");
    }
    return ToUtf8(url.view());
}

CacheEntry::CacheEntry(std::shared_ptr<CacheStore> store, JournalEntry entry, ComPtr<TMK::IAFS_Name> name,
                       ComPtr<TMK::IAFS_FileCacheCallbacks> callbacks, std::uint64_t server_size)
    : m_store(std::move(store)),
      m_key(entry.key),
      m_entry(std::move(entry)),
      m_name(std::move(name)),
      m_callbacks(std::move(callbacks)),
      m_path(m_store->PathOf(m_entry)),
      m_expected(server_size) {
    m_base = StateOf(m_name.get());
}

CacheEntry::~CacheEntry() {
    m_store->Unregister(m_key, this);
    Guarded([&] {
        AbortDownload();
        if (m_work && m_broken && !m_forgotten) {
            // The journal is written first: a missing work file counts as one that replaced the copy.
            [[maybe_unused]] const int room = ftruncate(m_local.get(), 0);
            m_entry.writing = false;
            if (!m_entry.dirty) m_entry.since = 0;
            m_store->journal().Put(m_entry);
            unlink(m_store->WorkPathOf(m_entry).c_str());
        }
        if (m_lock) m_lock->Release();
        return S_OK;
    });
}

void CacheEntry::Open(bool for_writing) {
    const std::lock_guard guard(m_mutex);
    MakeFolder(m_store->FolderOf(m_entry));
    WriteAddress();
    const fs::path lock_path = m_store->LockPathOf(m_entry);
    m_lock = FileLock::Take(lock_path, FileLock::Mode::exclusive, for_writing ? kLockTimeoutMs : 0);
    if (m_lock) {
        for (const auto& file : fs::directory_iterator(m_store->FolderOf(m_entry))) {
            if (file.path().filename().string().starts_with(".part-")) unlink(file.path().c_str());
        }
        m_may_write = for_writing;
        if (!for_writing && !m_lock->ChangeTo(FileLock::Mode::shared, 0)) m_lock.reset();
    } else if (for_writing) {
        throw Failure(kInUse, m_entry.url + " is open in another sphost; try again when that has ended");
    } else {
        m_lock = FileLock::Take(lock_path, FileLock::Mode::shared, 0);
    }
    m_private = !m_lock;
    // The time of the lock is that of the last use.
    if (m_lock) futimens(m_lock->descriptor(), nullptr);
    // Another process may have changed the entry before this one had the lock.
    if (const auto fresh = m_store->journal().Find(m_key)) m_entry = *fresh;
}

void CacheEntry::OpenPrivately() {
    const std::lock_guard guard(m_mutex);
    MakeFolder(m_store->FolderOf(m_entry));
    m_private = true;
}

void CacheEntry::WriteAddress() {
    const fs::path path = m_store->AddressPathOf(m_entry);
    if (fs::exists(path)) return;
    // Without it a lost journal would only cost the address, so a full disk stops nothing here.
    Guarded([&] {
        const Descriptor file = OpenFile(path, O_WRONLY | O_CREAT | O_TRUNC);
        WriteAt(file.get(), path, m_entry.url.data(), m_entry.url.size(), 0);
        return S_OK;
    });
}

void CacheEntry::AllowWriting() {
    const std::lock_guard guard(m_mutex);
    if (m_may_write) return;
    const auto refuse = [&](const char* why) { throw Failure(kInUse, m_entry.url + why); };
    if (m_private || !m_lock || !m_lock->ChangeTo(FileLock::Mode::exclusive, kLockTimeoutMs)) {
        refuse(" is open in another sphost; try again when that has ended");
    }
    if (const auto fresh = m_store->journal().Find(m_key)) {
        const bool is_other = fresh->dirty != m_entry.dirty || fresh->editing != m_entry.editing ||
                              (m_complete && fresh->base_time != m_entry.base_time);
        if (is_other) {
            m_lock->ChangeTo(FileLock::Mode::shared, 0);
            refuse(" was changed by another sphost meanwhile; open it again");
        }
        m_entry = *fresh;
    }
    m_may_write = true;
}

void CacheEntry::UseLocalCopy() {
    const std::lock_guard guard(m_mutex);
    m_base = {m_entry.base_time, m_entry.base_size};
    ReopenLocal(IsLink() ? O_RDONLY : O_RDWR);
    m_complete = true;
}

void CacheEntry::UseLocalCopyIfCurrent(std::uint64_t server_size) {
    const std::lock_guard guard(m_mutex);
    std::error_code error;
    const bool is_current = m_entry.complete && !m_private && m_entry.boot == m_store->boot() &&
                            m_base.time != 0 && m_entry.base_time == m_base.time &&
                            m_entry.base_size == server_size && fs::file_size(m_path, error) == server_size &&
                            !error && IsKnown(m_entry, m_path);
    if (is_current) UseLocalCopy();
}

void CacheEntry::SetCallbacks(ComPtr<TMK::IAFS_Name> name, ComPtr<TMK::IAFS_FileCacheCallbacks> callbacks) {
    const std::lock_guard guard(m_mutex);
    if (!m_complete && m_fetched > 0) AbortDownload();
    m_name = std::move(name);
    m_callbacks = std::move(callbacks);
}

bool CacheEntry::HasUnsent() {
    const std::lock_guard guard(m_mutex);
    return m_entry.dirty || m_work;
}

void CacheEntry::Forget() {
    const std::lock_guard guard(m_mutex);
    AbortDownload();
    m_forgotten = true;
}

void CacheEntry::ReopenLocal(int flags) {
    m_local = OpenFile(m_work ? m_store->WorkPathOf(m_entry) : m_path, flags);
}

void CacheEntry::StartDownload() {
    if (m_part) return;
    m_part_path = m_store->FolderOf(m_entry) /
                  (".part-" + std::to_string(getpid()) + "-" + std::to_string(++g_part_number));
    m_part = OpenFile(m_part_path, O_RDWR | O_CREAT | O_TRUNC);
    if (!m_block) m_block = std::make_unique<char[]>(kBlock);
    m_fetched = 0;
    m_block_size = 0;
}

// Ends a failed or unwanted download; the previous copy stays.
void CacheEntry::AbortDownload() {
    if (!m_part) return;
    if (m_fetched > 0 && m_callbacks) {
        // A set cancel flag makes the callbacks drop the open answer, so that the next download starts at the
        // beginning.
        const auto canceled = Make<CancelFlag>();
        canceled->Cancel();
        char byte = 0;
        LONGLONG got = 0;
        m_callbacks->Read(static_cast<LONGLONG>(m_fetched), &byte, 1, &got, nullptr, canceled.get());
    }
    m_part.reset();
    if (!m_part_path.empty()) unlink(m_part_path.c_str());
    m_part_path.clear();
    m_fetched = 0;
    m_block_size = 0;
}

// One block of the download into `buffer` and the part file; got is 0 once the document is complete.
HRESULT CacheEntry::FetchBlock(void* buffer, std::size_t capacity, std::size_t& got, const Calls& calls) {
    got = 0;
    bool at_end = false;
    while (got < capacity && !at_end) {
        LONGLONG count = 0;
        const HRESULT result =
            m_callbacks->Read(static_cast<LONGLONG>(m_fetched + got), static_cast<char*>(buffer) + got,
                              static_cast<LONGLONG>(capacity - got), &count, calls.details, calls.cancel);
        if (result == kEndOfFile || (SUCCEEDED(result) && count == 0)) {
            at_end = true;
        } else if (FAILED(result) || count < 0 || static_cast<std::size_t>(count) > capacity - got) {
            m_fetched += got;
            AbortDownload();
            return FAILED(result) ? result : E_UNEXPECTED;
        } else {
            if (m_fetched + got == 0) {
                // The callbacks have just asked the server, so this is the version that is downloaded.
                const ServerState state = StateOf(m_name.get());
                if (state.time != 0) {
                    m_base = state;
                    m_expected = state.size;
                }
            }
            got += static_cast<std::size_t>(count);
        }
    }
    try {
        WriteAt(m_part.get(), m_part_path, buffer, got, m_fetched);
    } catch (...) {
        m_fetched += got;
        AbortDownload();
        throw;
    }
    m_fetched += got;
    m_store->NoteTransfer({false, m_fetched, m_expected});
    return at_end ? FinishDownload(calls) : S_OK;
}

// Reads the next block into `buffer`, or into the block buffer for null; at the announced size it checks for
// the end.
HRESULT CacheEntry::Fetch(void* buffer, std::size_t capacity, std::size_t& got, const Calls& calls) {
    if (!m_callbacks) return E_UNEXPECTED;
    StartDownload();
    const std::uint64_t start = m_fetched;
    const HRESULT result =
        FetchBlock(buffer ? buffer : m_block.get(), buffer ? capacity : kBlock, got, calls);
    if (FAILED(result)) return result;
    m_block_start = start;
    m_block_size = buffer ? 0 : got;
    if (m_complete || m_fetched < m_expected) return S_OK;
    std::size_t more = 0;
    const std::uint64_t end = m_fetched;
    const HRESULT last = FetchBlock(m_block.get(), kBlock, more, calls);
    if (SUCCEEDED(last) && !m_complete) {
        m_block_start = end;
        m_block_size = more;
    }
    return last;
}

HRESULT CacheEntry::FetchAll(const Calls& calls) {
    while (!m_complete) {
        std::size_t got = 0;
        if (const HRESULT result = Fetch(nullptr, 0, got, calls); FAILED(result)) return result;
    }
    return S_OK;
}

HRESULT CacheEntry::FinishDownload(const Calls& calls) {
    if (m_fetched != m_expected) {
        LONGLONG size = 0;
        const std::uint64_t fetched = m_fetched;
        const bool is_known = SUCCEEDED(m_callbacks->GetSize(&size, nullptr, calls.cancel));
        if (!is_known || static_cast<std::uint64_t>(size) != fetched) {
            const std::uint64_t expected = m_expected;
            m_fetched = 0;  // the callbacks have ended this download already
            AbortDownload();
            throw Failure(kBadData, "the document ended after " + std::to_string(fetched) + " of " +
                                        std::to_string(expected) + " bytes; the copy from before stays");
        }
        m_base = StateOf(m_name.get());
        m_expected = fetched;
    }
    Publish();
    m_local = std::move(m_part);
    m_part_path.clear();
    m_complete = true;
    m_block_size = 0;
    return S_OK;
}

// Something else may have changed the local file that is about to be replaced.
void CacheEntry::KeepForeignFile() {
    if (!HasFile(m_path)) return;
    const auto fresh = m_store->journal().Find(m_key);
    if (IsKnown(fresh ? *fresh : m_entry, m_path)) return;
    const fs::path aside = SetAside(m_path);
    m_store->warn("the local copy of " + m_entry.url + " was changed by another program; it was kept as " +
                  aside.string());
}

// The local file is about to be replaced: a kill before the journal says so leaves one of two known files.
void CacheEntry::NoteFetched() {
    JournalEntry entry = m_store->journal().Find(m_key).value_or(m_entry);
    if (entry.known_stamps.empty() || !entry.known_hash.empty()) NoteFile(entry, m_path);
    entry.known_stamps += " " + StampOf(m_part_path);
    m_store->journal().PutQuickly(entry);
}

void CacheEntry::Publish() {
    if (m_private || m_forgotten) {
        unlink(m_part_path.c_str());
        return;
    }
    SyncFile(m_part.get(), m_part_path);
    KeepForeignFile();
    NoteFetched();
    // Of two readers at once the later one replaces both the file and its journal entry.
    JournalEntry entry = m_entry;
    m_store->journal().Transaction([&] {
        if (rename(m_part_path.c_str(), m_path.c_str()) != 0) ThrowErrno("write", m_path, errno);
        NoteFile(entry, m_path);
        entry.complete = true;
        entry.base_time = m_base.time;
        entry.base_size = m_fetched;
        entry.boot = m_store->boot();
        m_store->journal().Put(entry);
    });
    SyncFolder(m_store->FolderOf(m_entry));
    m_entry = std::move(entry);
}

HRESULT CacheEntry::ReadStream(std::uint64_t position, char* data, std::size_t size, std::size_t& done,
                               const Calls& calls) {
    while (done < size) {
        const std::uint64_t at = position + done;
        const std::size_t left = size - done;
        if (m_complete) {
            done += ReadAt(m_local.get(), m_path, data + done, left, at);
            return S_OK;
        }
        std::size_t got = 0;
        if (m_part && at < m_fetched) {
            if (m_block_size > 0 && at >= m_block_start && at - m_block_start < m_block_size) {
                const auto offset = static_cast<std::size_t>(at - m_block_start);
                got = std::min(left, m_block_size - offset);
                std::memcpy(data + done, m_block.get() + offset, got);
            } else {
                const auto known = static_cast<std::size_t>(std::min<std::uint64_t>(left, m_fetched - at));
                got = ReadAt(m_part.get(), m_part_path, data + done, known, at);
                if (got == 0) return E_UNEXPECTED;
            }
            done += got;
            continue;
        }
        const bool is_direct = at == (m_part ? m_fetched : 0) && left >= kBlock;
        const HRESULT result = Fetch(is_direct ? data + done : nullptr, kBlock, got, calls);
        if (FAILED(result)) return result;
        if (is_direct) done += got;
    }
    return S_OK;
}

HRESULT CacheEntry::Read(LONGLONG pos, void* data, LONGLONG size, LONGLONG* out_size,
                         TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) {
    if (!data) return E_POINTER;
    if (pos < 0 || size < 0) return E_INVALIDARG;
    return Run({details, cancel}, [&](const Calls& calls) {
        std::size_t done = 0;
        const HRESULT result = ReadStream(static_cast<std::uint64_t>(pos), static_cast<char*>(data),
                                          static_cast<std::size_t>(size), done, calls);
        if (out_size) *out_size = SUCCEEDED(result) ? static_cast<LONGLONG>(done) : 0;
        return result;
    });
}

HRESULT CacheEntry::get_Size(LONGLONG* out_size) {
    if (!out_size) return E_POINTER;
    return Guarded([&] {
        const std::lock_guard guard(m_mutex);
        *out_size = static_cast<LONGLONG>(m_complete ? FileSize(m_local.get(), m_path)
                                                     : std::max(m_expected, m_fetched));
        return S_OK;
    });
}

HRESULT CacheEntry::get_TempFileName(BSTR* out_path) {
    return Guarded([&] { return GiveString(out_path, ToUtf16(m_path.string())); });
}

HRESULT CacheEntry::ReopenForRead() {
    return Guarded([&] {
        const std::lock_guard guard(m_mutex);
        if (m_complete && !m_private) ReopenLocal(O_RDONLY);
        return S_OK;
    });
}

HRESULT CacheEntry::ReopenForWrite() {
    return Guarded([&] {
        const std::lock_guard guard(m_mutex);
        AllowWriting();
        if (m_complete) ReopenLocal(IsLink() ? O_RDONLY : O_RDWR);
        return S_OK;
    });
}

}  // namespace host
