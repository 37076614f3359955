// One document's local copy: changes into the work file, edits by other programs, and the upload.
// Any thread, one operation at a time.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "host/base/host_objects.h"
#include "host/cache/cache_entry.h"
#include "host/cache/local_file.h"

namespace host {

namespace {

constexpr int kMaxAttempts = 8;  // the callbacks give up sooner by themselves

void CopyContent(int from, const fs::path& from_path, int to, const fs::path& to_path) {
    const auto block = std::make_unique<char[]>(CacheEntry::kBlock);
    std::uint64_t position = 0;
    while (const std::size_t got = ReadAt(from, from_path, block.get(), CacheEntry::kBlock, position)) {
        WriteAt(to, to_path, block.get(), got, position);
        position += got;
    }
}

}  // namespace

// Changes go into a work file, so that the previous copy survives a crash.
HRESULT CacheEntry::PrepareWork(bool keep_content, const Calls& calls) {
    if (m_work) return S_OK;
    if (m_broken) throw Failure(E_FAIL, "an earlier write into the local copy failed");
    AllowWriting();
    if (keep_content) {
        if (const HRESULT result = FetchAll(calls); FAILED(result)) return result;
    } else {
        AbortDownload();
    }
    const fs::path path = m_store->WorkPathOf(m_entry);
    Descriptor work = OpenFile(path, O_RDWR | O_CREAT | O_TRUNC);
    try {
        if (keep_content) CopyContent(m_local.get(), m_path, work.get(), path);
        JournalEntry entry = m_entry;
        entry.writing = true;
        if (!entry.dirty) {
            entry.base_time = m_base.time;
            entry.base_size = m_base.size;
            entry.since = std::time(nullptr);
            entry.complete = keep_content && entry.complete;
        }
        m_store->journal().Put(entry);
        m_entry = std::move(entry);
    } catch (...) {
        unlink(path.c_str());
        throw;
    }
    m_local = std::move(work);
    m_work = m_complete = true;
    return S_OK;
}

void CacheEntry::StartEmpty() {
    const std::lock_guard guard(m_mutex);
    if (m_work) {
        if (ftruncate(m_local.get(), 0) != 0) ThrowErrno("write", m_path, errno);
        return;
    }
    PrepareWork(false, {nullptr, nullptr});
}

HRESULT CacheEntry::Write(LONGLONG pos, const void* data, LONGLONG size, LONGLONG* out_size,
                          TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) {
    if (!data) return E_POINTER;
    if (pos < 0 || size < 0) return E_INVALIDARG;
    return Run({details, cancel}, [&](const Calls& calls) {
        const auto position = static_cast<std::uint64_t>(pos);
        const auto count = static_cast<std::size_t>(size);
        if (out_size) *out_size = size;
        std::array<char, 4096> same;
        if (m_complete && !m_work && count <= same.size() &&
            ReadAt(m_local.get(), m_path, same.data(), count, position) == count &&
            std::memcmp(same.data(), data, count) == 0) {
            return S_OK;  // the bytes are the same
        }
        HRESULT result = PrepareWork(true, calls);
        if (FAILED(result)) {
            if (out_size) *out_size = 0;
            return result;
        }
        try {
            WriteAt(m_local.get(), m_store->WorkPathOf(m_entry), data, count, position);
        } catch (...) {
            if (out_size) *out_size = 0;
            m_broken = true;
            throw;
        }
        return S_OK;
    });
}

HRESULT CacheEntry::SetSize(LONGLONG size, TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) {
    if (size < 0) return E_INVALIDARG;
    return Run({details, cancel}, [&](const Calls& calls) {
        if (m_complete && !m_work && FileSize(m_local.get(), m_path) == static_cast<std::uint64_t>(size))
            return S_OK;
        if (const HRESULT result = PrepareWork(size > 0, calls); FAILED(result)) return result;
        if (ftruncate(m_local.get(), static_cast<off_t>(size)) != 0) ThrowErrno("write", m_path, errno);
        return S_OK;
    });
}

// Replaces the local copy by the complete work file, which then waits to be sent.
void CacheEntry::Seal() {
    const fs::path work = m_store->WorkPathOf(m_entry);
    SyncFile(m_local.get(), work);
    if (!m_entry.dirty) KeepForeignFile();
    if (rename(work.c_str(), m_path.c_str()) != 0) ThrowErrno("write", m_path, errno);
    m_work = false;
    SyncFolder(m_store->FolderOf(m_entry));
    m_entry.writing = false;
    NoteFile(m_entry, m_path);
    MarkUnsent();
}

void CacheEntry::MarkUnsent() {
    m_entry.dirty = m_entry.complete = true;
    m_entry.boot = m_store->boot();
    if (m_entry.since == 0) m_entry.since = std::time(nullptr);
    m_store->journal().Put(m_entry);
}

void CacheEntry::AdoptFile(const fs::path& source, bool move) {
    const std::lock_guard guard(m_mutex);
    const Descriptor from = OpenFile(source, O_RDONLY);
    const HRESULT result = PrepareWork(false, {nullptr, nullptr});
    if (FAILED(result)) throw Failure(result, "can't make a local copy of " + source.string());
    CopyContent(from.get(), source, m_local.get(), m_store->WorkPathOf(m_entry));
    Seal();
    if (move) unlink(source.c_str());
}

bool CacheEntry::IsLink() const {
    std::error_code error;
    return fs::is_symlink(m_path, error);
}

void CacheEntry::LinkSource(const fs::path& source) {
    const std::lock_guard guard(m_mutex);
    Descriptor content = OpenFile(source, O_RDONLY);
    if (const HRESULT result = PrepareWork(false, {nullptr, nullptr}); FAILED(result))
        throw Failure(result, "can't make a local copy of " + source.string());
    const fs::path work = m_store->WorkPathOf(m_entry);
    // Until the link has the place of the work file, a kill leaves an incomplete save.
    const fs::path link = work.string() + "-link";
    unlink(link.c_str());
    if (symlink(fs::absolute(source).c_str(), link.c_str()) != 0) ThrowErrno("write", link, errno);
    if (!m_entry.dirty) KeepForeignFile();
    if (rename(link.c_str(), m_path.c_str()) != 0) ThrowErrno("write", m_path, errno);
    m_local = std::move(content);
    m_work = false;
    unlink(work.c_str());
    SyncFolder(m_store->FolderOf(m_entry));
    m_entry.writing = false;
    NoteFile(m_entry, m_path);
    MarkUnsent();
}

// The person may do with the file as they like, so what waits becomes a copy.
void CacheEntry::CopyLinked() {
    const fs::path work = m_store->WorkPathOf(m_entry);
    Descriptor copy = OpenFile(work, O_RDWR | O_CREAT | O_TRUNC);
    CopyContent(m_local.get(), m_path, copy.get(), work);
    SyncFile(copy.get(), work);
    if (rename(work.c_str(), m_path.c_str()) != 0) ThrowErrno("write", m_path, errno);
    m_local = std::move(copy);
    SyncFolder(m_store->FolderOf(m_entry));
    NoteFile(m_entry, m_path);
    MarkUnsent();
}

// The person has the file, and the server has it; nobody needs another.
void CacheEntry::DropLink() {
    unlink(m_path.c_str());
    m_entry.complete = false;
    NoteNoFile(m_entry);
}

EditedFile CacheEntry::BeginEdit() {
    const std::lock_guard guard(m_mutex);
    if (!m_complete) throw Failure(E_FAIL, m_entry.url + " isn't here as a whole yet");
    AllowWriting();
    if (m_work) Seal();
    JournalEntry entry = m_entry;
    NoteFile(entry, m_path);
    entry.known_hash = HashOf(m_path);
    entry.editing = true;
    m_store->journal().Put(entry);
    m_entry = std::move(entry);
    return {m_path, m_lock->descriptor()};
}

bool CacheEntry::FinishEdit() {
    const std::lock_guard guard(m_mutex);
    m_entry.editing = false;
    if (!HasFile(m_path)) {
        m_entry.complete = false;
        NoteNoFile(m_entry);
        m_store->journal().Put(m_entry);
        throw Failure(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND),
                      m_path.string() + " was removed, or replaced by something that is no file");
    }
    const bool changed = !IsKnown(m_entry, m_path);
    const std::string stamp = StampOf(m_path);
    if (changed) m_entry.known_hash.clear();
    m_entry.known_stamps = stamp;
    ReopenLocal(O_RDWR);  // many programs save by putting a new file in the old one's place
    if (changed) {
        MarkUnsent();
        SyncFile(m_local.get(), m_path);
    } else {
        m_store->journal().Put(m_entry);
    }
    return changed;
}

HRESULT CacheEntry::SendOnce(std::uint64_t size, const Calls& calls) {
    HRESULT result = m_callbacks->BeginWrite(calls.details, calls.cancel);
    if (FAILED(result)) return result;
    if (!m_block) m_block = std::make_unique<char[]>(kBlock);
    m_block_size = 0;
    for (std::uint64_t position = 0; position < size;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, size - position));
        const std::size_t got = ReadAt(m_local.get(), m_path, m_block.get(), wanted, position);
        if (got != wanted) {
            const auto canceled = Make<CancelFlag>();
            canceled->Cancel();
            m_callbacks->EndWrite(nullptr, canceled.get());
            throw Failure(kBadData, m_path.string() + " was changed while it was sent");
        }
        LONGLONG written = 0;
        result = m_callbacks->Write(static_cast<LONGLONG>(position), m_block.get(),
                                    static_cast<LONGLONG>(got), &written, calls.details, calls.cancel);
        if (FAILED(result)) return result;
        position += got;
        m_store->NoteTransfer({true, position, size});
    }
    return m_callbacks->EndWrite(calls.details, calls.cancel);
}

HRESULT CacheEntry::Upload(const Calls& calls) {
    if (m_broken) throw Failure(E_FAIL, "an earlier write into the local copy failed; nothing was sent");
    if (!m_complete) return S_OK;
    if (!m_callbacks) return E_UNEXPECTED;
    AllowWriting();
    if (m_work) {
        Seal();
    } else if (!m_entry.dirty) {
        MarkUnsent();
    }
    const std::string stamp = StampOf(m_path);
    const std::uint64_t size = FileSize(m_local.get(), m_path);
    HRESULT result = m_callbacks->SetSize(static_cast<LONGLONG>(size), calls.details, calls.cancel);
    for (int attempt = 0; SUCCEEDED(result) && attempt < kMaxAttempts; ++attempt) {
        result = SendOnce(size, calls);
        if (result != kRetryUpload) break;
        result = attempt + 1 < kMaxAttempts ? S_OK : kRetryUpload;
    }
    if (FAILED(result)) {
        if (IsLink()) {
            CopyLinked();
        } else {
            fsync(m_local.get());  // until it is sent, this is the only copy
        }
        return result;
    }
    if (IsLink() && StampOf(m_path) != stamp) {
        CopyLinked();
        throw Failure(kBadData, "the file was changed while it was sent; send it again");
    }
    MarkSent(stamp, calls);
    return S_OK;
}

// Reads the server's time of what was just sent; another size means other bytes.
// `stamp` is that of the file that was sent: what is saved into it since then is found later.
void CacheEntry::MarkSent(const std::string& stamp, const Calls& calls) {
    LONGLONG server_size = -1;
    const std::uint64_t size = FileSize(m_local.get(), m_path);
    const bool is_known = SUCCEEDED(m_callbacks->GetSize(&server_size, nullptr, calls.cancel));
    m_base =
        is_known && static_cast<std::uint64_t>(server_size) == size ? StateOf(m_name.get()) : ServerState{};
    m_entry.base_time = m_base.time;
    m_entry.base_size = size;
    m_entry.dirty = m_entry.writing = m_entry.editing = false;
    m_entry.since = 0;
    m_entry.complete = true;
    m_entry.created = false;
    m_entry.known_stamps = stamp;
    if (IsLink()) DropLink();
    m_store->journal().Put(m_entry);
}

HRESULT CacheEntry::Flush(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) {
    return Run({details, cancel}, [&](const Calls& calls) { return Upload(calls); });
}

}  // namespace host
