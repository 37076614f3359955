#include "session/open_documents.h"

KnownVersion LocalCopy::GetVersion() const {
    const std::lock_guard lock(m_lock);
    return m_version;
}

void LocalCopy::SetVersion(KnownVersion version) {
    const std::lock_guard lock(m_lock);
    m_version = std::move(version);
}

void LocalCopy::SetUpload(Upload upload) {
    const std::lock_guard lock(m_lock);
    m_upload = upload;
}

LocalCopy::Upload LocalCopy::TakeUpload() {
    const std::lock_guard lock(m_lock);
    return std::exchange(m_upload, Upload::none);
}

std::shared_ptr<LocalCopy> OpenDocument::FindCopy(const void* cache_entry) {
    const std::lock_guard lock(m_lock);
    const auto found = m_copies.find(cache_entry);
    return found == m_copies.end() ? nullptr : found->second.lock();
}

void OpenDocument::SetCopy(const void* cache_entry, const std::shared_ptr<LocalCopy>& copy) {
    const std::lock_guard lock(m_lock);
    std::erase_if(m_copies, [](const auto& entry) { return entry.second.expired(); });
    m_copies[cache_entry] = copy;
}

std::shared_ptr<OpenDocument> OpenDocuments::Get(const std::u16string& url) {
    const std::lock_guard lock(m_lock);
    std::erase_if(m_documents, [&](const auto& entry) {
        return entry.second.use_count() == 1 && !entry.second->m_need_checkin && entry.first != url;
    });
    std::shared_ptr<OpenDocument>& document = m_documents[url];
    if (!document) document = std::make_shared<OpenDocument>();
    return document;
}
