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

std::shared_ptr<OpenDocuments> OpenDocuments::OfWeb(const std::u16string& web_url) {
    static std::mutex webs_lock;
    static std::map<std::u16string, std::weak_ptr<OpenDocuments>> webs;
    const std::lock_guard lock(webs_lock);
    std::erase_if(webs, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<OpenDocuments>& known = webs[web_url];
    std::shared_ptr<OpenDocuments> documents = known.lock();
    if (!documents) known = documents = std::make_shared<OpenDocuments>();
    return documents;
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
