#include "afs/document/cache_callback.h"

#include "afs/document/download_check.h"
#include "base/failure.h"

namespace {

constexpr DWORD kForceRetry = 0x2F00;  // the internet layer wants the same request again

}  // namespace

std::shared_ptr<SharePoint::Object> CacheCallback::BindFile() {
    TRACE_NAME("CacheCallback::BindFile");
    auto object = m_name->BindObject(SharePoint::Web::BindObjectType::file, false);
    CHECK_THROW_TEXT(object != nullptr,
                     u"m_name->BindObject(SharePoint::Web::BindObjectType::file, refresh) != nullptr",
                     HResultException, E_SP_NOT_FOUND);
    return object;
}

void CacheCallback::OpenDownload() {
    const auto object = BindFile();
    auto response = std::make_unique<Http::Response>(object->AsFile()->Read());
    Afs::CheckIsDocument(*response, object->GetInformation().m_name);
    m_announced_size =
        Afs::GetAnnouncedLength(*response, static_cast<LONGLONG>(object->GetInformation().m_size));
    m_read_context = std::move(response);
}

void CacheCallback::EndDownload() {
    m_read_context.reset();
    m_pos = 0;
}

void CacheCallback::CheckDownloadIsComplete() const {
    TRACE_NAME("CacheCallback::Read");
    CHECK_THROW(!m_announced_size || m_pos == *m_announced_size, Exception,
                u"The download of the document ended early: the server announced more than it sent.");
}

HRESULT CacheCallback::Read(LONGLONG pos, void* data, LONGLONG size, LONGLONG* out_size,
                            TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("CacheCallback::Read");
    try {
        if (IsCanceled(cancel_flag)) {
            LOG_LINE(Log::verbose, u"Canceled");
            EndDownload();
            return E_CANCELED;
        }
        CHECK_RETURN(data != nullptr, E_POINTER);
        CHECK_RETURN(size > 0, E_INVALIDARG);
        CHECK_THROW(pos == m_pos, HResultException, E_INVALIDARG,
                    u"Requested read position is not equal to current one - random reading is not supported");
        if (!m_read_context) OpenDownload();
        try {
            const auto read =
                static_cast<LONGLONG>(m_read_context->ReadBody(data, static_cast<size_t>(size)));
            m_pos += read;
            if (out_size) *out_size = read;
            if (read != 0) TRACE_RETURN(S_OK);
            CheckDownloadIsComplete();
        } catch (...) {
            EndDownload();
            throw;
        }
        EndDownload();
        TRACE_EXIT(u"ERROR_HANDLE_EOF");
        return E_SP_EOF;
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT CacheCallback::SetSize(LONGLONG size, TMK::ITMK_ErrorDetails*, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("CacheCallback::SetSize");
    CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
    m_size = size;
    TRACE_RETURN(S_OK);
}

HRESULT CacheCallback::GetSize(LONGLONG* out_size, TMK::ITMK_ErrorDetails* out_error_details,
                               TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("CacheCallback::GetSize");
    try {
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN(out_size != nullptr, E_POINTER);
        *out_size = static_cast<LONGLONG>(BindFile()->GetInformation().m_size);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT CacheCallback::BeginWrite(TMK::ITMK_ErrorDetails* out_error_details,
                                  TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("CacheCallback::BeginWrite");
    try {
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        const auto object = BindFile();
        m_before_upload = object->GetInformation();
        m_pos = 0;
        if (m_write_context) {
            BeginAgain();
        } else {
            m_write_context =
                std::make_unique<Http::Request>(object->AsFile()->Write(static_cast<uint64_t>(m_size)));
        }
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

// Whatever the server answered: when it still shows the version from before, it did not take the upload. The
// record that is fetched here is also what the next conflict is judged by.
void CacheCallback::CheckServerTookUpload() const {
    TRACE_NAME("CacheCallback::EndWrite");
    std::shared_ptr<SharePoint::Object> object;
    try {
        object = m_name->BindObject(SharePoint::Web::BindObjectType::file, false);
    } catch (const Exception& failure) {
        LOG_LINE(Log::warning, u"the outcome of the upload is not known: %s", MaskForLog(failure.message));
    }
    if (!object) return;
    const SharePoint::Information& now = object->GetInformation();
    const bool is_old_version = now.m_modified_time == m_before_upload.m_modified_time &&
                                now.m_size == m_before_upload.m_size &&
                                now.m_size != static_cast<uint64_t>(m_size);
    CHECK_THROW(!is_old_version, Exception,
                u"The server answered the upload but still has the version from before. Please save again.");
}

void CacheCallback::BeginAgain() {
    try {
        m_write_context->SendAgain(static_cast<uint64_t>(m_size));
    } catch (...) {
        EndUpload();
        throw;
    }
}

void CacheCallback::EndUpload() {
    m_write_context.reset();
    m_retries_left = kRetries;
}

HRESULT CacheCallback::Write(LONGLONG pos, const void* data, LONGLONG size, LONGLONG* out_size,
                             TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("CacheCallback::Write");
    try {
        if (IsCanceled(cancel_flag)) {
            LOG_LINE(Log::verbose, u"Canceled");
            EndUpload();
            return E_CANCELED;
        }
        CHECK_RETURN(data != nullptr, E_POINTER);
        CHECK_RETURN(size > 0, E_INVALIDARG);
        try {
            CHECK_THROW(
                pos == m_pos, HResultException, E_INVALIDARG,
                u"Requested write position is not same as previous - random writing is not supported");
            CHECK_THROW(m_write_context != nullptr, HResultException, E_FAIL,
                        u"Write is called without prior BeginWrite");
            m_pos += static_cast<LONGLONG>(m_write_context->Write(data, static_cast<size_t>(size)));
        } catch (...) {
            EndUpload();
            throw;
        }
        if (out_size) *out_size = size;
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT CacheCallback::EndWrite(TMK::ITMK_ErrorDetails* out_error_details,
                                TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("CacheCallback::EndWrite");
    try {
        // docs/compatibility.md: A cancel after the last byte is ignored
        if (m_pos < m_size && IsCanceled(cancel_flag)) {
            LOG_LINE(Log::verbose, u"Canceled");
            EndUpload();
            return E_CANCELED;
        }
        if (!m_write_context) {
            LOG_LINE(Log::error, u"Previous write failed");
            EndUpload();
            return E_FAIL;
        }
        try {
            Afs::CheckIsNoPage(m_write_context->End());
            CheckServerTookUpload();
        } catch (const ApiException& failure) {
            if (failure.code == kForceRetry) {
                LOG_LINE(Log::warning, u"Need retry, %d out of %d retries left", m_retries_left, kRetries);
                if (m_retries_left > 0) {
                    --m_retries_left;
                    TRACE_RETURN(E_SP_RETRY);
                }
            }
            EndUpload();
            throw;
        } catch (...) {
            EndUpload();
            throw;
        }
        EndUpload();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}
