// One document's way between the host's cache and the server: one sequential stream each way, with the
// upload's retry. The cache calls from the thread that reads or flushes, one operation at a time; there is no
// lock.
#pragma once

#include <memory>
#include <optional>

#include "afs/names/name.h"
#include "base/scaffolding.h"
#include "hostapi/iafs.h"
#include "http/exchange.h"

class CacheCallback final : public cCoClassUnknownT<CacheCallback, TMK::IAFS_FileCacheCallbacks> {
public:
    explicit CacheCallback(Name& name) : m_name(&name) {}

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
    void CheckServerTookUpload() const;
    void BeginAgain();
    void EndUpload();

    ComPtr<Name> m_name;
    std::unique_ptr<Http::Response> m_read_context;
    std::unique_ptr<Http::Request> m_write_context;
    LONGLONG m_size = 0;
    LONGLONG m_pos = 0;
    int32_t m_retries_left = kRetries;
    SharePoint::Information m_before_upload;
    std::optional<LONGLONG> m_announced_size;  // of the download
};
