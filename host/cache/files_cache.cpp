#include "host/cache/files_cache.h"

#include <map>
#include <mutex>
#include <set>

#include "host/base/failure.h"
#include "host/base/object.h"
#include "host/cache/cache_entry.h"

namespace host {

namespace {

constexpr DWORD kWriting = TMK::AFS_OpenFile_Write | TMK::AFS_OpenFile_CreateAlways;

// Takes the place of a local copy that can't be made; every operation fails with the reason.
class RefusedEntry final : public Object<TMK::IAFS_CacheEntry> {
public:
    explicit RefusedEntry(Failure why) : m_why(std::move(why)) {}
    HRESULT Read(LONGLONG, void*, LONGLONG, LONGLONG*, TMK::ITMK_ErrorDetails* details,
                 TMK::ITMK_CancelFlag*) override {
        return Refuse(details);
    }
    HRESULT Write(LONGLONG, const void*, LONGLONG, LONGLONG*, TMK::ITMK_ErrorDetails* details,
                  TMK::ITMK_CancelFlag*) override {
        return Refuse(details);
    }
    HRESULT SetSize(LONGLONG, TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag*) override {
        return Refuse(details);
    }
    HRESULT get_Size(LONGLONG*) override { return m_why.code(); }
    HRESULT Flush(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag*) override { return Refuse(details); }
    HRESULT get_TempFileName(BSTR* out_path) override {
        if (out_path) *out_path = nullptr;
        return m_why.code();
    }
    HRESULT ReopenForRead() override { return m_why.code(); }
    HRESULT ReopenForWrite() override { return m_why.code(); }

private:
    HRESULT Refuse(TMK::ITMK_ErrorDetails* details) const {
        return Guarded(details, [&]() -> HRESULT { throw m_why; });
    }
    const Failure m_why;
};

class FilesCache final : public Object<TMK::IAFS_FilesCache2, TMK::IAFS_FilesCache> {
public:
    explicit FilesCache(std::shared_ptr<CacheStore> store) : m_store(std::move(store)) {}

    HRESULT QueryCache(TMK::IAFS_Name* name, DWORD flags, TMK::IAFS_CacheEntry** out_entry) override {
        if (!out_entry) return E_POINTER;
        *out_entry = nullptr;
        if (!name) return E_INVALIDARG;
        return Guarded([&] { return Query(name, nullptr, flags, out_entry); });
    }

    HRESULT QueryCache2(TMK::IAFS_File* file, DWORD flags, TMK::IAFS_CacheEntry** out_entry) override {
        if (!out_entry) return E_POINTER;
        *out_entry = nullptr;
        if (!file) return E_INVALIDARG;
        return Guarded([&] { return Query(NameOf(file).get(), file, flags, out_entry); });
    }

    HRESULT CreateCache(TMK::IAFS_File* file, TMK::IAFS_FileCacheCallbacks* callbacks, DWORD flags,
                        LONGLONG server_size, DWORD, DWORD, DWORD,
                        TMK::IAFS_CacheEntry** out_entry) override {
        if (!out_entry) return E_POINTER;
        *out_entry = nullptr;
        if (!file || !callbacks || server_size < 0) return E_INVALIDARG;
        return Guarded([&] {
            try {
                auto entry = Create(NameOf(file), callbacks, flags, static_cast<std::uint64_t>(server_size));
                Remember(file, entry);
                *out_entry = entry.detach();
            } catch (const Failure& failure) {
                // The caller checks the entry, not this result, so the entry carries the reason.
                m_store->warn(failure.what());
                *out_entry = Make<RefusedEntry>(failure).detach();
            }
            return S_OK;
        });
    }

    HRESULT CheckForReopenFile(TMK::IAFS_File* file, DWORD flags) override {
        if (!file) return E_INVALIDARG;
        return Guarded([&] {
            const auto entry = EntryOf(file);
            if (entry && (flags & kWriting)) entry->AllowWriting();
            return S_OK;
        });
    }

    HRESULT ReleaseCache(TMK::IAFS_File* file, DWORD) override {
        // Also called by the file's destructor, so only its address may be used.
        ComPtr<CacheEntry> released;
        const std::lock_guard lock(m_mutex);
        const auto found = m_handles.find(file);
        if (found == m_handles.end()) return S_FALSE;
        released = std::move(found->second);
        m_handles.erase(found);
        return S_OK;
    }

    HRESULT DeleteEntryEx(TMK::IAFS_Name* name, LONG) override {
        if (!name) return E_INVALIDARG;
        return Guarded([&] {
            m_store->Drop(UrlOf(name));
            return S_OK;
        });
    }

    HRESULT FlushAllCaches(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel,
                           VARIANT_BOOL) override {
        return Guarded(details, [&] {
            std::set<CacheEntry*> seen;
            HRESULT first_failure = S_OK;
            for (const auto& [file, entry] : Handles()) {
                if (!seen.insert(entry.get()).second || !entry->HasUnsent()) continue;
                const HRESULT result = entry->Flush(details, cancel);
                if (FAILED(result) && SUCCEEDED(first_failure)) first_failure = result;
            }
            return first_failure;
        });
    }

    HRESULT AddEntryFromFile(TMK::IAFS_Name* name, LPCWSTR local_path,
                             TMK::IAFS_FileCacheCallbacks* callbacks, DWORD,
                             VARIANT_BOOL move_file) override {
        if (!name || !local_path || !callbacks) return E_INVALIDARG;
        return Guarded([&] {
            const std::string url = UrlOf(name);
            if (m_store->OpenEntry(CacheStore::KeyOf(url))) throw Failure(kInUse, url + " is open");
            auto entry = Make<CacheEntry>(m_store, m_store->Entry(url), ComPtr<TMK::IAFS_Name>(name),
                                          ComPtr<TMK::IAFS_FileCacheCallbacks>(callbacks), 0);
            entry->Open(true);
            if (entry->HasUnsent()) RefuseUnsent(url);
            entry->AdoptFile(ToUtf8(FromWide(local_path)), move_file != VARIANT_FALSE);
            return S_OK;
        });
    }

private:
    static ComPtr<TMK::IAFS_Name> NameOf(TMK::IAFS_File* file) {
        ComPtr<TMK::IAFS_Name> name;
        const HRESULT result = file->get_Name(name.put());
        if (FAILED(result) || !name)
            throw Failure(FAILED(result) ? result : E_INVALIDARG, "a file has no name");
        return name;
    }

    [[noreturn]] static void RefuseUnsent(const std::string& url) {
        throw Failure(kInUse,
                      url + " has changes that were not sent yet; 'sphost recover' sends or drops them");
    }

    void Remember(TMK::IAFS_File* file, const ComPtr<CacheEntry>& entry) {
        ComPtr<CacheEntry> before = entry;
        const std::lock_guard lock(m_mutex);
        std::swap(m_handles[file], before);
    }

    ComPtr<CacheEntry> EntryOf(TMK::IAFS_File* file) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_handles.find(file);
        return found == m_handles.end() ? ComPtr<CacheEntry>() : found->second;
    }

    std::map<TMK::IAFS_File*, ComPtr<CacheEntry>> Handles() {
        const std::lock_guard lock(m_mutex);
        return m_handles;
    }

    // Finds only copies that are open in this process: CreateCache brings the callbacks to the server.
    HRESULT Query(TMK::IAFS_Name* name, TMK::IAFS_File* file, DWORD flags, TMK::IAFS_CacheEntry** out_entry) {
        if (flags & TMK::AFS_OpenFile_CreateAlways) return S_FALSE;
        auto entry = m_store->OpenEntry(CacheStore::KeyOf(UrlOf(name)));
        if (!entry) return S_FALSE;
        if (flags & kWriting) entry->AllowWriting();
        if (file) Remember(file, entry);
        *out_entry = entry.detach();
        return S_OK;
    }

    ComPtr<CacheEntry> Create(ComPtr<TMK::IAFS_Name> name, TMK::IAFS_FileCacheCallbacks* callbacks,
                              DWORD flags, std::uint64_t server_size) {
        const std::string url = UrlOf(name.get());
        const bool is_new = flags & TMK::AFS_OpenFile_CreateAlways;
        if (auto open = m_store->OpenEntry(CacheStore::KeyOf(url))) {
            open->SetCallbacks(std::move(name), callbacks);
            if (flags & kWriting) open->AllowWriting();
            if (is_new) open->StartEmpty();
            return open;
        }
        const auto unsent = m_store->Unsent(url);
        const bool is_waiting = unsent && (unsent->state == UnsentDocument::State::unsent ||
                                           unsent->state == UnsentDocument::State::missing);
        const UnsentUse use = m_store->UseOf(CacheStore::KeyOf(url));
        if (is_waiting && use == UnsentUse::refuse) RefuseUnsent(url);

        JournalEntry known = m_store->Entry(url);
        auto entry = Make<CacheEntry>(m_store, known, std::move(name),
                                      ComPtr<TMK::IAFS_FileCacheCallbacks>(callbacks), server_size);
        if (use == UnsentUse::bypass) {
            entry->OpenPrivately();
            return entry;
        }
        entry->Open((flags & kWriting) != 0);
        if (is_waiting && use == UnsentUse::take_up) {
            entry->UseLocalCopy();
        } else if (is_new) {
            entry->StartEmpty();
        } else if (!is_waiting) {
            entry->UseLocalCopyIfCurrent(server_size);
        }
        m_store->Register(entry->key(), entry.get());
        return entry;
    }

    const std::shared_ptr<CacheStore> m_store;
    std::mutex m_mutex;
    std::map<TMK::IAFS_File*, ComPtr<CacheEntry>> m_handles;
};

}  // namespace

ComPtr<TMK::IAFS_FilesCache> MakeFilesCache(std::shared_ptr<CacheStore> store) {
    return Make<FilesCache>(std::move(store));
}

}  // namespace host
