#include "host/workbench/documents.h"

#include <algorithm>

#include "host/base/give.h"
#include "host/workbench/info_bar.h"

namespace host {

namespace {

class SourceInfo final : public Object<TMK::ITMK_SrcInfo> {
public:
    explicit SourceInfo(ComPtr<TMK::IAFS_File> file) : m_file(std::move(file)) {}
    HRESULT get_File(TMK::IAFS_File** out_file) override { return m_file.CopyTo(out_file); }

private:
    const ComPtr<TMK::IAFS_File> m_file;
};

}  // namespace

HRESULT CoreDocument::get_SrcInfo(TMK::ITMK_SrcInfo** out_source) {
    if (!out_source) return E_POINTER;
    *out_source = nullptr;
    auto from = file();
    return from ? GiveNew<SourceInfo>(out_source, std::move(from)) : S_OK;
}

HRESULT CoreDocument::SetRestrictedPermissions(DWORD mask) {
    m_restricted = mask;
    return S_OK;
}

HRESULT CoreDocument::GetPermissions(DWORD source, DWORD kind, DWORD* out_permissions) {
    if (source != TMK::TMK_PermissionSource_Restricted || kind != TMK::TMK_PermissionKind_Mask)
        return E_INVALIDARG;
    return GiveValue(out_permissions, m_restricted.load());
}

HRESULT CoreDocument::NotifyChange(DWORD change, DWORD property, DWORD_PTR) {
    return Guarded([&] {
        if (m_changed) m_changed(change, property);
        return S_OK;
    });
}

ComPtr<TMK::IAFS_File> CoreDocument::file() const {
    const std::lock_guard lock(m_mutex);
    return m_file;
}

void CoreDocument::SetFile(ComPtr<TMK::IAFS_File> file) {
    const std::lock_guard lock(m_mutex);
    std::swap(m_file, file);
}

Document::Document(ComPtr<TMK::IAFS_File> file, DocumentActions actions)
    : m_core(Make<CoreDocument>(std::move(file))), m_actions(std::move(actions)) {}

Document::~Document() = default;

HRESULT Document::get_Modified(VARIANT_BOOL* out_modified) {
    return GiveBool(out_modified, m_modified);
}

HRESULT Document::get_File(TMK::IAFS_File** out_file) {
    return m_core->file().CopyTo(out_file);
}

HRESULT Document::get_CoreDoc(TMK::ITMK_CoreDoc** out_core_document) {
    return ComPtr<TMK::ITMK_CoreDoc>(m_core).CopyTo(out_core_document);
}

HRESULT Document::get_InfoBar(TMK::IUIX_InfoBar** out_info_bar) {
    return ComPtr<TMK::IUIX_InfoBar>(m_info_bar).CopyTo(out_info_bar);
}

void Document::SetInfoBar(ComPtr<InfoBar> bar) {
    m_info_bar = std::move(bar);
}

HRESULT Document::Reload() {
    const auto file = m_core->file();
    if (!file) return E_FAIL;
    Variant ignored;
    const Variant nothing;
    const HRESULT result = file->Exec(u"ResetCache", nothing.get(), ignored.put(), nullptr, nullptr);
    if (FAILED(result)) return result;
    m_modified = false;
    return m_actions.reload ? m_actions.reload() : S_OK;
}

HRESULT Document::Save(TMK::IAFS_Name* destination, DWORD mode, TMK::ITMK_ProgressMon* progress) {
    return m_actions.save ? m_actions.save(destination, mode, progress) : E_NOTIMPL;
}

HRESULT DocumentView::get_Doc(TMK::ITMK_Document** out_document) {
    return ComPtr<TMK::ITMK_Document>(m_document).CopyTo(out_document);
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
