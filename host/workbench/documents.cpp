#include "host/workbench/documents.h"

#include <algorithm>

#include "host/base/failure.h"

namespace host {

HRESULT Document::Reload() {
    if (!m_file) return E_FAIL;
    Variant ignored;
    const Variant nothing;
    const HRESULT result = m_file->Exec(u"ResetCache", nothing.get(), ignored.put(), nullptr, nullptr);
    if (FAILED(result)) return result;
    m_modified = false;
    return m_reload ? m_reload() : S_OK;
}

void Documents::Add(ComPtr<Document> document) {
    const std::lock_guard lock(m_mutex);
    m_documents.push_back(std::move(document));
}

void Documents::Remove(Document* document) {
    ComPtr<Document> released;
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_documents.begin(), m_documents.end(),
                                    [&](const ComPtr<Document>& d) { return d.get() == document; });
    if (found == m_documents.end()) return;
    released = std::move(*found);
    m_documents.erase(found);
}

std::size_t Documents::Count() const {
    const std::lock_guard lock(m_mutex);
    return m_documents.size();
}

ComPtr<Document> Documents::At(std::size_t index) const {
    const std::lock_guard lock(m_mutex);
    return index < m_documents.size() ? m_documents[index] : ComPtr<Document>();
}

ComPtr<Document> Documents::FindByFile(TMK::IAFS_File* file) const {
    if (!file) return nullptr;
    std::vector<ComPtr<Document>> documents;
    {
        const std::lock_guard lock(m_mutex);
        documents = m_documents;
    }
    for (const auto& document : documents) {
        ComPtr<TMK::IAFS_File> other;
        document->get_File(other.put());
        VARIANT_BOOL is_clone = VARIANT_FALSE;
        if (other.get() == file || (other && SUCCEEDED(other->IsCloneOf(file, &is_clone)) && is_clone))
            return document;
    }
    return nullptr;
}

ComPtr<Document> Documents::Find(TMK::ITMK_Document* document) const {
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_documents.begin(), m_documents.end(),
                                    [&](const ComPtr<Document>& d) { return d.get() == document; });
    return found == m_documents.end() ? ComPtr<Document>() : *found;
}

}  // namespace host
