// One document's way between the host's cache and the server: one sequential stream each way, with the
// upload's retry. The cache calls from the thread that reads or flushes, one operation at a time; there is no
// lock.
#pragma once

#include <memory>
#include <optional>

#include "afs/document/upload_check.h"
#include "afs/names/name.h"
#include "base/scaffolding.h"
#include "hostapi/iafs.h"
#include "http/exchange.h"
#include "session/open_documents.h"

class CacheCallback final : public cCoClassUnknownT<CacheCallback, TMK::IAFS_FileCacheCallbacks> {
public:
    // `copy` is what the cache entry holds, null when no handle shares it.
    explicit CacheCallback(Name& name, std::shared_ptr<LocalCopy> copy = nullptr);

    HRESULT Read(LONGLONG pos, void* data, LONGLONG size, LONGLONG* out_size,
                 TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT Write(LONGLONG pos, const void* data, LONGLONG size, LONGLONG* out_size,
                  TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT SetSize(LONGLONG size, TMK::ITMK_ErrorDetails* out_error_details,
                    TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT GetSize(LONGLONG* out_size, TMK::ITMK_ErrorDetails* out_error_details,
                    TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT BeginWrite(TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT EndWrite(TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) override;

private:
    static constexpr int32_t kRetries = 3;

    std::shared_ptr<SharePoint::Object> BindFile();
    void OpenDownload();
    void EndDownload();
    void CheckDownloadIsComplete() const;
    // Throws when the server did not take the upload; false when it shows somebody else's version after it.
    bool CheckServerTookUpload(const Http::Response& answer);
    bool IsOwnVersion(const Http::Response& answer, SharePoint::Object& object) const;
    std::optional<bool> HasWhatWasSent(SharePoint::File& file) const;
    KnownVersion VersionOf(const SharePoint::Information& information) const;
    void BeginAgain();
    void EndUpload();

    ComPtr<Name> m_name;
    std::unique_ptr<Http::Response> m_read_context;
    std::unique_ptr<Http::Request> m_write_context;
    LONGLONG m_size = 0;
    LONGLONG m_pos = 0;
    int32_t m_retries_left = kRetries;
    SharePoint::Information m_before_upload;
    std::string m_sent;  // the bytes of a small upload
    std::shared_ptr<LocalCopy> m_copy;
    std::optional<LONGLONG> m_announced_size;  // of the download
};
