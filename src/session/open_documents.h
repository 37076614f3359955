// What the handles on one document share in this process: whether it waits for a check-in, and which of the
// server's versions the bytes of its local copies are of. Shared by the sessions on a site; any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "sharepoint/object.h"

// A version of a document as the server told it.
struct KnownVersion {
    uint64_t m_modified_time = 0;
    SharePoint::VersionTags m_tags;
    uint32_t m_workflow_step = 0;  // of the document, when the server told it
};

// The bytes of one cache entry.
class LocalCopy {
public:
    // What became of an upload: whether the version that the server shows after it is the one that was sent.
    enum class Upload { none, own, of_somebody_else };

    explicit LocalCopy(KnownVersion version) : m_version(std::move(version)) {}

    KnownVersion GetVersion() const;
    void SetVersion(KnownVersion version);
    void SetUpload(Upload upload);
    // The last upload's; it is told once.
    Upload TakeUpload();

private:
    mutable std::mutex m_lock;
    KnownVersion m_version;
    Upload m_upload = Upload::none;
};

class OpenDocument {
public:
    // A flush has sent changes to the server since the last check-in.
    std::atomic<bool> m_need_checkin = false;
    // Counts check-outs, check-ins and discards. Each changes the tags of a version, so that those from
    // before say nothing any more.
    std::atomic<uint32_t> m_workflow_step = 0;

    // The copy in a cache entry, null when no handle holds it.
    std::shared_ptr<LocalCopy> FindCopy(const void* cache_entry);
    void SetCopy(const void* cache_entry, const std::shared_ptr<LocalCopy>& copy);

private:
    std::mutex m_lock;
    std::map<const void*, std::weak_ptr<LocalCopy>> m_copies;
};

class OpenDocuments {
public:
    // What all sessions on the web at this URL share, as long as one of them lives.
    static std::shared_ptr<OpenDocuments> OfWeb(const std::u16string& web_url);

    // The document at a URL. It is remembered while somebody holds it or it waits for a check-in.
    std::shared_ptr<OpenDocument> Get(const std::u16string& url);

private:
    std::mutex m_lock;
    std::map<std::u16string, std::shared_ptr<OpenDocument>> m_documents;
};
