#include "tests/windows/host/plain_cache.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>

#include "host/base/host_objects.h"

namespace windows_host {

namespace {

namespace fs = std::filesystem;
using namespace host;

constexpr int kMostAttempts = 8;
constexpr std::size_t kBlock = 256 * 1024;

std::u16string UrlOf(TMK::IAFS_Name* name) {
    ComPtr<TMK::IAFS_FileSys> file_system;
    Bstr url;
    if (FAILED(name->get_FileSys(file_system.put())) ||
        FAILED(file_system->NameToString(name, 0, nullptr, url.put())))
        throw Failure(E_INVALIDARG, "a name has no URL");
    return url.str();
}

// A local file that goes with its object.
class LocalFile {
public:
    explicit LocalFile(fs::path path) : m_path(std::move(path)) {
        std::ofstream(m_path, std::ios::binary).flush();
        Open();
    }
    ~LocalFile() {
        m_stream.close();
        std::error_code ignored;
        fs::remove(m_path, ignored);
    }
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;

    const fs::path& Path() const { return m_path; }
    LONGLONG Size() {
        m_stream.flush();
        return static_cast<LONGLONG>(fs::file_size(m_path));
    }
    void Resize(LONGLONG size) {
        m_stream.close();
        fs::resize_file(m_path, static_cast<std::uintmax_t>(size));
        Open();
    }
    std::size_t Read(LONGLONG position, void* data, std::size_t size) {
        m_stream.clear();
        m_stream.seekg(position);
        m_stream.read(static_cast<char*>(data), static_cast<std::streamsize>(size));
        return static_cast<std::size_t>(m_stream.gcount());
    }
    void Write(LONGLONG position, const void* data, std::size_t size) {
        m_stream.clear();
        m_stream.seekp(position);
        if (!m_stream.write(static_cast<const char*>(data), static_cast<std::streamsize>(size)))
            throw Failure(E_FAIL, "can't write " + m_path.string());
    }

private:
    void Open() { m_stream.open(m_path, std::ios::binary | std::ios::in | std::ios::out); }

    fs::path m_path;
    std::fstream m_stream;
};

class Entry final : public Object<TMK::IAFS_CacheEntry> {
public:
    Entry(const fs::path& path, std::u16string url, LONGLONG server_size)
        : m_file(path), m_url(std::move(url)), m_server_size(server_size) {}

    const std::u16string& Url() const { return m_url; }
    void SetCallbacks(TMK::IAFS_FileCacheCallbacks* callbacks) {
        const std::lock_guard lock(m_mutex);
        m_callbacks = callbacks;
    }
    void StartEmpty() {
        const std::lock_guard lock(m_mutex);
        m_file.Resize(0);
        m_complete = true;
    }

    HRESULT Read(LONGLONG pos, void* data, LONGLONG size, LONGLONG* out_size, TMK::ITMK_ErrorDetails* details,
                 TMK::ITMK_CancelFlag* cancel) override {
        if (pos < 0 || size < 0) return E_INVALIDARG;
        return Run(details, cancel, [&] {
            if (const HRESULT result = Fetch(details, cancel); FAILED(result)) return result;
            const std::size_t got = m_file.Read(pos, data, static_cast<std::size_t>(size));
            if (out_size) *out_size = static_cast<LONGLONG>(got);
            return S_OK;
        });
    }

    HRESULT Write(LONGLONG pos, const void* data, LONGLONG size, LONGLONG* out_size,
                  TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override {
        if (pos < 0 || size < 0) return E_INVALIDARG;
        return Run(details, cancel, [&] {
            if (const HRESULT result = Fetch(details, cancel); FAILED(result)) return result;
            m_file.Write(pos, data, static_cast<std::size_t>(size));
            if (out_size) *out_size = size;
            return S_OK;
        });
    }

    HRESULT SetSize(LONGLONG size, TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override {
        if (size < 0) return E_INVALIDARG;
        return Run(details, cancel, [&] {
            if (size == 0) m_complete = true;
            if (const HRESULT result = Fetch(details, cancel); FAILED(result)) return result;
            m_file.Resize(size);
            return S_OK;
        });
    }

    HRESULT get_Size(LONGLONG* out_size) override {
        if (!out_size) return E_POINTER;
        return Run(nullptr, nullptr, [&] {
            *out_size = m_complete ? m_file.Size() : m_server_size;
            return S_OK;
        });
    }

    HRESULT Flush(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) override {
        return Run(details, cancel, [&] {
            if (!m_complete) return S_OK;
            const LONGLONG size = m_file.Size();
            HRESULT result = m_callbacks->SetSize(size, details, cancel);
            for (int attempt = 0; SUCCEEDED(result) && attempt < kMostAttempts; ++attempt) {
                result = Send(size, details, cancel);
                if (result != kRetryUpload) return result;
                result = S_OK;
            }
            return SUCCEEDED(result) ? kRetryUpload : result;
        });
    }

    HRESULT get_TempFileName(BSTR* out_path) override {
        return GiveString(out_path, m_file.Path().u16string());
    }
    HRESULT ReopenForRead() override { return S_OK; }
    HRESULT ReopenForWrite() override { return S_OK; }

private:
    template <class Work>
    HRESULT Run(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel, Work&& work) {
        if (IsCanceled(cancel)) return kCanceled;
        return Guarded(details, [&] {
            const std::lock_guard lock(m_mutex);
            return work();
        });
    }

    // Downloads the document unless it is here.
    HRESULT Fetch(TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) {
        const auto block = std::make_unique<char[]>(kBlock);
        for (LONGLONG position = 0; !m_complete;) {
            LONGLONG got = 0;
            const HRESULT result = m_callbacks->Read(position, block.get(), kBlock, &got, details, cancel);
            if (FAILED(result) && result != kEndOfFile) {
                m_file.Resize(0);
                return result;
            }
            m_complete = FAILED(result) || got == 0;
            if (!m_complete) m_file.Write(position, block.get(), static_cast<std::size_t>(got));
            position += m_complete ? 0 : got;
        }
        return S_OK;
    }

    HRESULT Send(LONGLONG size, TMK::ITMK_ErrorDetails* details, TMK::ITMK_CancelFlag* cancel) {
        HRESULT result = m_callbacks->BeginWrite(details, cancel);
        const auto block = std::make_unique<char[]>(kBlock);
        for (LONGLONG position = 0; SUCCEEDED(result) && position < size;) {
            const std::size_t got = m_file.Read(position, block.get(), kBlock);
            LONGLONG written = 0;
            result = m_callbacks->Write(position, block.get(), static_cast<LONGLONG>(got), &written, details,
                                        cancel);
            position += static_cast<LONGLONG>(got);
        }
        return FAILED(result) ? result : m_callbacks->EndWrite(details, cancel);
    }

    std::recursive_mutex m_mutex;
    LocalFile m_file;
    const std::u16string m_url;
    const LONGLONG m_server_size;
    ComPtr<TMK::IAFS_FileCacheCallbacks> m_callbacks;
    bool m_complete = false;
};

class Cache final : public Object<TMK::IAFS_FilesCache2, TMK::IAFS_FilesCache> {
public:
    explicit Cache(fs::path folder) : m_folder(std::move(folder)) {}

    HRESULT QueryCache(TMK::IAFS_Name* name, DWORD flags, TMK::IAFS_CacheEntry** out_entry) override {
        return Guarded([&] { return Query(UrlOf(name), nullptr, flags, out_entry); });
    }
    HRESULT QueryCache2(TMK::IAFS_File* file, DWORD flags, TMK::IAFS_CacheEntry** out_entry) override {
        return Guarded([&] { return Query(UrlOf(NameOf(file).get()), file, flags, out_entry); });
    }

    HRESULT CreateCache(TMK::IAFS_File* file, TMK::IAFS_FileCacheCallbacks* callbacks, DWORD flags,
                        LONGLONG server_size, DWORD, DWORD, DWORD,
                        TMK::IAFS_CacheEntry** out_entry) override {
        return Guarded([&] {
            const std::u16string url = UrlOf(NameOf(file).get());
            ComPtr<Entry> entry = Find(url);
            if (!entry) entry = Make<Entry>(NewPath(), url, server_size);
            entry->SetCallbacks(callbacks);
            if (flags & TMK::AFS_OpenFile_CreateAlways) entry->StartEmpty();
            Remember(file, entry);
            *out_entry = entry.detach();
            return S_OK;
        });
    }

    HRESULT CheckForReopenFile(TMK::IAFS_File*, DWORD) override { return S_OK; }
    // The file may be gone already, so only its address is used.
    HRESULT ReleaseCache(TMK::IAFS_File* file, DWORD) override {
        ComPtr<Entry> released;
        const std::lock_guard lock(m_mutex);
        const auto found = m_handles.find(file);
        if (found == m_handles.end()) return S_FALSE;
        released = std::move(found->second);
        m_handles.erase(found);
        return S_OK;
    }
    HRESULT DeleteEntryEx(TMK::IAFS_Name*, LONG) override { return S_OK; }
    HRESULT FlushAllCaches(TMK::ITMK_ErrorDetails*, TMK::ITMK_CancelFlag*, VARIANT_BOOL) override {
        return S_OK;
    }
    HRESULT AddEntryFromFile(TMK::IAFS_Name*, LPCWSTR, TMK::IAFS_FileCacheCallbacks*, DWORD,
                             VARIANT_BOOL) override {
        return E_NOTIMPL;
    }

private:
    static ComPtr<TMK::IAFS_Name> NameOf(TMK::IAFS_File* file) {
        ComPtr<TMK::IAFS_Name> name;
        if (FAILED(file->get_Name(name.put())) || !name) throw Failure(E_INVALIDARG, "a file has no name");
        return name;
    }

    fs::path NewPath() {
        const std::lock_guard lock(m_mutex);
        return m_folder / std::to_string(++m_copies);
    }

    ComPtr<Entry> Find(const std::u16string& url) {
        const std::lock_guard lock(m_mutex);
        const auto found = std::find_if(m_handles.begin(), m_handles.end(),
                                        [&](const auto& handle) { return handle.second->Url() == url; });
        return found == m_handles.end() ? nullptr : found->second;
    }

    void Remember(TMK::IAFS_File* file, const ComPtr<Entry>& entry) {
        ComPtr<Entry> before = entry;
        const std::lock_guard lock(m_mutex);
        std::swap(m_handles[file], before);
    }

    HRESULT Query(const std::u16string& url, TMK::IAFS_File* file, DWORD flags,
                  TMK::IAFS_CacheEntry** out_entry) {
        *out_entry = nullptr;
        if (flags & TMK::AFS_OpenFile_CreateAlways) return S_FALSE;
        ComPtr<Entry> entry = Find(url);
        if (!entry) return S_FALSE;
        if (file) Remember(file, entry);
        *out_entry = entry.detach();
        return S_OK;
    }

    const fs::path m_folder;
    std::mutex m_mutex;
    int m_copies = 0;
    std::map<TMK::IAFS_File*, ComPtr<Entry>> m_handles;
};

}  // namespace

ComPtr<TMK::IAFS_FilesCache> MakePlainCache(fs::path folder) {
    return Make<Cache>(std::move(folder));
}

}  // namespace windows_host
