#include "afs/document/cache_callback.h"

#include "afs/document/download_check.h"
#include "base/failure.h"
#include "base/operation_scope.h"

namespace {

constexpr DWORD kForceRetry = 0x2F00;  // the internet layer wants the same request again
constexpr uint16_t kForbidden = 403;
constexpr LONGLONG kSmallUpload = 1024 * 1024;  // bytes that may be read back after an upload

constexpr char16_t kNotTaken[] =
    u"The server answered the upload but still has the version from before. Please save again.";
constexpr char16_t kNotKnown[] =
    u"The server does not tell whether it has the document that was sent. Your version is kept; please save "
    u"again.";
constexpr char16_t kOthersVersion[] =
    u"The document was sent, but the server does not show the version that was sent: somebody else may have "
    u"saved the document meanwhile. The next save asks before it replaces that version.";

}  // namespace

CacheCallback::CacheCallback(Name& name, std::shared_ptr<LocalCopy> copy)
    : m_name(&name), m_copy(copy ? std::move(copy) : std::make_shared<LocalCopy>(KnownVersion())) {}

KnownVersion CacheCallback::VersionOf(const SharePoint::Information& information) const {
    const auto document = m_name->GetSession()->GetOpenDocuments().Get(m_name->GetUrl());
    return {information.m_modified_time, information.m_tags, document->m_workflow_step};
}

// The host opens a document and reads it at once, or reopens and saves it: one look-up serves both. What the
// save is judged by for a conflict was asked when the document was reopened.
std::shared_ptr<SharePoint::Object> CacheCallback::BindFile() {
    TRACE_NAME("CacheCallback::BindFile");
    if (auto held = m_name->GetObject();
        held && held->AsFile() && OperationScope::IsYoung(held->GetInformation().m_asked_at))
        return held;
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
    m_copy->SetVersion(VersionOf(object->GetInformation()));
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
        const OperationScope operation_scope(cancel_flag);
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
        const OperationScope operation_scope(cancel_flag);
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
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        const auto object = BindFile();
        m_before_upload = object->GetInformation();
        m_pos = 0;
        m_sent.clear();
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
// record that is fetched here is also what the next conflict is judged by, as far as it is of what was sent.
bool CacheCallback::CheckServerTookUpload(const Http::Response& answer) {
    TRACE_NAME("CacheCallback::EndWrite");
    const auto document = m_name->GetSession()->GetOpenDocuments().Get(m_name->GetUrl());
    std::shared_ptr<SharePoint::Object> object;
    try {
        object = m_name->BindObject(SharePoint::Web::BindObjectType::file, false);
    } catch (const Exception& failure) {
        LOG_LINE(Log::warning, u"the outcome of the upload is not known: %s", MaskForLog(failure.message));
    }
    if (!object) {
        document->m_need_checkin = true;
        // Only a server that keeps documents gives a version its tag; a page of anybody's does not.
        CHECK_THROW_TEXT(!answer.GetHeaders(u"ETag").empty(), u"is_version_told", Exception, kNotKnown);
        return true;
    }
    const bool is_own = IsOwnVersion(answer, *object);
    document->m_need_checkin = true;
    if (is_own) m_copy->SetVersion(VersionOf(object->GetInformation()));
    m_copy->SetUpload(is_own ? LocalCopy::Upload::own : LocalCopy::Upload::of_somebody_else);
    return is_own;
}

bool CacheCallback::IsOwnVersion(const Http::Response& answer, SharePoint::Object& object) const {
    TRACE_NAME("CacheCallback::EndWrite");
    const std::vector<std::u16string> tags = answer.GetHeaders(u"ETag");
    const Afs::UploadOutcome outcome = Afs::JudgeUpload(
        {m_before_upload, static_cast<uint64_t>(m_size), tags.empty() ? std::u16string() : tags.front()},
        object.GetInformation());
    LOG_LINE(Log::verbose, u"outcome of the upload: %i", static_cast<uint32_t>(outcome));
    if (outcome == Afs::UploadOutcome::own) return true;
    if (outcome == Afs::UploadOutcome::of_somebody_else) return false;
    CHECK_THROW_TEXT(outcome != Afs::UploadOutcome::not_taken, u"!is_old_version", Exception, kNotTaken);
    // The same size in the same second may still be what was sent.
    const bool is_taken = HasWhatWasSent(*object.AsFile()).value_or(outcome == Afs::UploadOutcome::same_time);
    CHECK_THROW_TEXT(is_taken, u"!is_old_version", Exception, kNotTaken);
    return true;
}

// Nothing when the document is large or can't be read.
std::optional<bool> CacheCallback::HasWhatWasSent(SharePoint::File& file) const {
    TRACE_NAME("CacheCallback::EndWrite");
    if (m_size > kSmallUpload) return std::nullopt;
    try {
        const Http::Response response = file.Read();
        if (response.GetStatus() < 200 || response.GetStatus() > 299) return std::nullopt;
        std::string bytes(m_sent.size() + 1, '\0');
        size_t size = 0;
        while (size < bytes.size()) {
            const size_t read = response.ReadBody(bytes.data() + size, bytes.size() - size);
            if (read == 0) break;
            size += read;
        }
        return std::string_view(bytes).substr(0, size) == m_sent;
    } catch (const Exception& failure) {
        LOG_LINE(Log::warning, u"the document can't be read back: %s", MaskForLog(failure.message));
        return std::nullopt;
    }
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
    m_sent.clear();
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
            if (m_size <= kSmallUpload)
                m_sent.append(static_cast<const char*>(data), static_cast<size_t>(size));
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
        const OperationScope operation_scope(cancel_flag);
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
            const Http::Response answer = m_write_context->End();
            Afs::CheckIsNoPage(answer);
            if (!CheckServerTookUpload(answer)) TellPerson(out_error_details, kOthersVersion);
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
        } catch (const Http::HttpException& failure) {
            if (failure.status == kForbidden && m_name->GetObject()->AsFile()->ForgetOldDigest()) {
                LOG_LINE(Log::warning, u"The upload was refused with an old digest, sending it once more");
                m_write_context.reset();
                TRACE_RETURN(E_SP_RETRY);
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
