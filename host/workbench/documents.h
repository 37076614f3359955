// The documents that the host has open, each with its file and its modified flag. The list is for any thread;
// a document is reloaded on the main thread.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

#include "host/base/give.h"
#include "hostapi/itmk.h"

namespace host {

class Document final : public Object<TMK::ITMK_Document> {
public:
    // `reload` reads the document again from its file; it returns a result code.
    Document(ComPtr<TMK::IAFS_File> file, std::function<HRESULT()> reload)
        : m_file(std::move(file)), m_reload(std::move(reload)) {}
    HRESULT get_Modified(VARIANT_BOOL* out_modified) override { return GiveBool(out_modified, m_modified); }
    HRESULT get_File(TMK::IAFS_File** out_file) override { return m_file.CopyTo(out_file); }
    void SetModified(bool modified) { m_modified = modified; }
    // Drops the local copy and unsaved changes and reads the document again.
    HRESULT Reload();

private:
    ComPtr<TMK::IAFS_File> m_file;
    std::function<HRESULT()> m_reload;
    std::atomic<bool> m_modified{false};
};

class Documents {
public:
    void Add(ComPtr<Document> document);
    void Remove(Document* document);
    std::size_t Count() const;
    ComPtr<Document> At(std::size_t index) const;  // null outside
    // The document whose file this is, or a clone of it; null when there is none.
    ComPtr<Document> FindByFile(TMK::IAFS_File* file) const;
    ComPtr<Document> Find(TMK::ITMK_Document* document) const;

private:
    mutable std::mutex m_mutex;
    std::vector<ComPtr<Document>> m_documents;
};

}  // namespace host
