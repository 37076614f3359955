// The local copy of one open document: filled from the server as it is read, changed in a work file, sent
// back as a whole. Counted by the handles on the document; any thread, one operation at a time.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "host/base/host_objects.h"
#include "host/cache/cache_store.h"
#include "hostapi/iafs.h"

namespace host {

// The server's time and size of a document, as the plug-in knows them without a request.
struct ServerState {
    std::uint64_t time = 0;  // Windows file time, 0 unknown
    std::uint64_t size = 0;
};
ServerState StateOf(TMK::IAFS_Name* name);
std::string UrlOf(TMK::IAFS_Name* name);

class CacheEntry final : public Object<TMK::IAFS_CacheEntry> {
public:
    static constexpr std::size_t kBlock = 256 * 1024;

    CacheEntry(std::shared_ptr<CacheStore> store, JournalEntry entry, ComPtr<TMK::IAFS_Name> name,
               ComPtr<TMK::IAFS_FileCacheCallbacks> callbacks, std::uint64_t server_size);
    ~CacheEntry() override;

    // Takes the lock for reading or writing. Throws a Failure of 0x80070020 when another process writes the
    // document.
    void Open(bool for_writing);
    // Downloads the document for this handle alone.
    void OpenPrivately();
    // Uses the local copy that is there.
    void UseLocalCopy();
    // The same if the copy is the server's present version; otherwise reading downloads the document.
    void UseLocalCopyIfCurrent(std::uint64_t server_size);
    // Starts with an empty document, for one that was just created on the server.
    void StartEmpty();
    // Makes sure that this process alone may change the local copy.
    void AllowWriting();
    void SetCallbacks(ComPtr<TMK::IAFS_Name> name, ComPtr<TMK::IAFS_FileCacheCallbacks> callbacks);
    bool HasUnsent();
    // The caller removes the local copy; this entry no longer cleans up.
    void Forget();

    EditedFile BeginEdit();
    bool FinishEdit();
    // Makes the local copy from a file that is there; it counts as unsent.
    void AdoptFile(const fs::path& source, bool move);

    // Sends a person's own file without a copy of it: the local copy is a link to it until it is sent. What
    // can't be sent is copied after all.
    void LinkSource(const fs::path& source);

    const std::string& key() const { return m_key; }

    HRESULT Read(LONGLONG pos, void* data, LONGLONG size, LONGLONG* out_size, TMK::ITMK_ErrorDetails* details,
                 TMK::ITMK_CancelFlag* cancel) override;
    HRESULT Write(LONGLONG pos, const void* data, LONGLONG size, LONGLONG* out_size,
                  TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override;
    HRESULT SetSize(LONGLONG size, TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override;
    HRESULT get_Size(LONGLONG* out_size) override;
    HRESULT Flush(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override;
    HRESULT get_TempFileName(BSTR* out_path) override;
    HRESULT ReopenForRead() override;
    HRESULT ReopenForWrite() override;

private:
    struct Calls {
        TMK::ITMK_ErrorDetails* details;
        TMK::ITMK_CancelFlag* cancel;
    };

    // Runs an operation of the interface alone, unless it was cancelled before.
    template <class Work>
    HRESULT Run(const Calls& calls, Work&& work) {
        if (IsCanceled(calls.cancel)) return kCanceled;
        return Guarded(calls.details, [&] {
            const std::lock_guard guard(m_mutex);
            return work(calls);
        });
    }

    // Download.
    void StartDownload();
    HRESULT FetchBlock(void* buffer, std::size_t capacity, std::size_t& got, const Calls& calls);
    HRESULT Fetch(void* buffer, std::size_t capacity, std::size_t& got, const Calls& calls);
    HRESULT FetchAll(const Calls& calls);
    HRESULT FinishDownload(const Calls& calls);
    void AbortDownload();
    void Publish();
    void KeepForeignFile();
    void NoteFetched();
    HRESULT ReadStream(std::uint64_t position, char* data, std::size_t size, std::size_t& done,
                       const Calls& calls);

    // Local changes.
    HRESULT PrepareWork(bool keep_content, const Calls& calls);
    void Seal();
    void ReopenLocal(int flags);
    void MarkUnsent();
    bool IsLink() const;
    void CopyLinked();
    void DropLink();
    void WriteAddress();

    // Upload.
    HRESULT Upload(const Calls& calls);
    HRESULT SendOnce(std::uint64_t size, const Calls& calls);
    void MarkSent(const std::string& stamp, const Calls& calls);

    const std::shared_ptr<CacheStore> m_store;
    const std::string m_key;
    std::recursive_mutex m_mutex;
    JournalEntry m_entry;
    ComPtr<TMK::IAFS_Name> m_name;
    ComPtr<TMK::IAFS_FileCacheCallbacks> m_callbacks;
    std::optional<FileLock> m_lock;
    bool m_may_write = false;
    bool m_private = false;  // a copy for this handle alone, since another process may change the shared one

    fs::path m_path;
    Descriptor m_local;  // the whole content, once m_complete
    bool m_complete = false;
    bool m_work = false;    // m_local is the work file
    bool m_broken = false;  // a write into the work file failed
    bool m_forgotten = false;

    Descriptor m_part;  // the download in progress
    fs::path m_part_path;
    std::uint64_t m_expected = 0;
    std::uint64_t m_fetched = 0;
    ServerState m_base;
    std::unique_ptr<char[]> m_block;
    std::uint64_t m_block_start = 0;
    std::size_t m_block_size = 0;
};

}  // namespace host
