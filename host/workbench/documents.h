// The documents that the host has open, each with its file, its changes and its restrictions. The list is for
// any thread, as is a document's file; a document is reloaded and saved on the main thread.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

#include "host/base/object.h"
#include "hostapi/itmk.h"

namespace host {

class InfoBar;

// What the opener of a document does for it; each gives a result code.
struct DocumentActions {
    std::function<HRESULT()> reload = nullptr;  // reads the document again from its file
    // Saves with every question; as ITMK_Inst::SaveDocument.
    std::function<HRESULT(TMK::IAFS_Name* destination, DWORD mode, TMK::ITMK_ProgressMon* progress)> save =
        nullptr;
};

class CoreDocument final : public Object<TMK::ITMK_CoreDoc> {
public:
    using Changed = std::function<void(DWORD change, DWORD property)>;

    explicit CoreDocument(ComPtr<TMK::IAFS_File> file) : m_file(std::move(file)) {}

    HRESULT get_SrcInfo(TMK::ITMK_SrcInfo** out_source) override;
    HRESULT SetRestrictedPermissions(DWORD mask) override;
    HRESULT GetPermissions(DWORD source, DWORD kind, DWORD* out_permissions) override;
    HRESULT NotifyChange(DWORD change, DWORD property, DWORD_PTR parameter) override;

    ComPtr<TMK::IAFS_File> file() const;
    void SetFile(ComPtr<TMK::IAFS_File> file);
    // False when a plug-in has switched it off. What the document itself forbids is not asked here.
    bool IsAllowed(TMK::TMK_Permission permission) const { return (m_restricted & permission) == 0; }
    void SetChanged(Changed changed) { m_changed = std::move(changed); }

private:
    mutable std::mutex m_mutex;
    ComPtr<TMK::IAFS_File> m_file;
    std::atomic<DWORD> m_restricted{0};
    Changed m_changed;
};

class Document final : public Object<TMK::ITMK_Document> {
public:
    explicit Document(ComPtr<TMK::IAFS_File> file, DocumentActions actions = {});
    ~Document() override;

    HRESULT get_Modified(VARIANT_BOOL* out_modified) override;
    HRESULT get_File(TMK::IAFS_File** out_file) override;
    HRESULT get_CoreDoc(TMK::ITMK_CoreDoc** out_core_document) override;
    HRESULT get_InfoBar(TMK::IUIX_InfoBar** out_info_bar) override;

    bool IsModified() const { return m_modified; }
    void SetModified(bool modified) { m_modified = modified; }
    // After a save under another name.
    void SetFile(ComPtr<TMK::IAFS_File> file) { m_core->SetFile(std::move(file)); }
    CoreDocument& core() const { return *m_core; }
    InfoBar* info_bar() const { return m_info_bar.get(); }  // null when no window shows it
    void SetInfoBar(ComPtr<InfoBar> bar);
    // Drops the local copy and unsaved changes and reads the document again.
    HRESULT Reload();
    HRESULT Save(TMK::IAFS_Name* destination, DWORD mode, TMK::ITMK_ProgressMon* progress);

private:
    const ComPtr<CoreDocument> m_core;
    const DocumentActions m_actions;
    std::atomic<bool> m_modified{false};
    ComPtr<InfoBar> m_info_bar;
};

class DocumentView final : public Object<TMK::ITMK_DocumentView> {
public:
    explicit DocumentView(ComPtr<Document> document) : m_document(std::move(document)) {}
    HRESULT get_Doc(TMK::ITMK_Document** out_document) override;
    Document& document() const { return *m_document; }

private:
    const ComPtr<Document> m_document;
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
