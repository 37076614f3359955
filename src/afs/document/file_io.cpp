// The bytes of a file, through its cache entry.
#include "afs/document/cache_callback.h"
#include "afs/document/file.h"
#include "base/failure.h"
#include "base/operation_scope.h"
#include "base/out_values.h"

namespace {

constexpr uint64_t kMaxPosition = INT64_MAX;

// Clamped to what lies between 0 and the size, whatever the offset.
LONGLONG Seek(LONGLONG base, LONGLONG offset, LONGLONG size) {
    if (offset > 0 && base > static_cast<LONGLONG>(kMaxPosition) - offset) return size;
    const LONGLONG pos = base + offset;
    return pos < 0 ? 0 : pos > size ? size : pos;
}

}  // namespace

HRESULT File::AcquireCache(TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::AcquireCache");
    const ComPtr<File> self(this);
    const ComPtr<TMK::IAFS_FilesCache> files_cache = m_name->GetSession()->GetFilesCache();
    CHECK_THROW(files_cache != nullptr, Exception, u"File cache is not found");
    const ComPtr<TMK::IAFS_FilesCache2> newer = files_cache.as<TMK::IAFS_FilesCache2>();
    HRESULT result = S_OK;
    {
        const std::lock_guard lock(m_cache_lock);
        result = newer ? newer->QueryCache2(this, m_flags, m_cache.put())
                       : files_cache->QueryCache(m_name.get(), m_flags, m_cache.put());
        if (FAILED(result)) {
            LOG_LINE(Log::error, u"QueryCache failed with result '%d' and returned %scache object", result,
                     m_cache ? u"" : u"no ");
        }
        if (m_cache) {
            HoldCopy(nullptr);
            TRACE_RETURN(S_OK);
        }
    }
    const auto copy = std::make_shared<LocalCopy>(VersionOnServer());
    const auto callback = MakeObject<CacheCallback>(*m_name, copy);
    LONGLONG size = 0;
    if ((m_flags & TMK::AFS_OpenFile_CreateAlways) == 0) {
        CHECK_RESULT(callback->GetSize(&size, out_error_details, cancel_flag));
    }
    const std::lock_guard lock(m_cache_lock);
    result = files_cache->CreateCache(this, callback.get(), m_flags, size, 0, 0, 0, m_cache.put());
    // Without an entry the first byte operation would fail and nobody would know why.
    CHECK_RETURN_TEXT(m_cache != nullptr || SUCCEEDED(result), result, u"m_cache != nullptr");
    HoldCopy(copy);
    TRACE_RETURN(S_OK);
}

// A copy that is in use already keeps the version that its bytes are of, whatever the server has now.
void File::HoldCopy(std::shared_ptr<LocalCopy> made) {
    TRACE_NAME("File::AcquireCache");
    m_copy = made ? std::move(made) : m_document->FindCopy(m_cache.get());
    if (!m_copy) m_copy = std::make_shared<LocalCopy>(VersionOnServer());
    if (m_cache) m_document->SetCopy(m_cache.get(), m_copy);
    // The tags of a copy from before a check-out, check-in or discard say nothing: those of now show the next
    // change, unless there was one already. A discard puts an older time back.
    const KnownVersion on_server = VersionOnServer();
    KnownVersion of_copy = m_copy->GetVersion();
    if (of_copy.m_workflow_step != on_server.m_workflow_step &&
        of_copy.m_modified_time >= on_server.m_modified_time) {
        of_copy.m_tags = on_server.m_tags;
        of_copy.m_workflow_step = on_server.m_workflow_step;
        m_copy->SetVersion(of_copy);
    }
    TakeVersion(m_copy->GetVersion());
    LOG_LINE(Log::verbose, u"the local copy is of modified_time=%llu", m_modified_time);
}

HRESULT File::Read(void* data, LONGLONG size, LONGLONG* out_size_read,
                   TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::Read");
    try {
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN((m_flags & TMK::AFS_OpenFile_Read) != 0, E_SP_WRONG_MODE);
        const ComPtr<TMK::IAFS_CacheEntry> cache = GetCache();
        CHECK_RETURN_TEXT(cache != nullptr, E_FAIL, u"m_cache != nullptr");
        LONGLONG size_read = 0;
        CHECK_RESULT_TEXT(cache->Read(m_pos, data, size, &size_read, out_error_details, cancel_flag),
                          u"m_cache->Read(m_pos, data, size, &size_read, out_error_details, cancel_flag)");
        LOG_LINE(Log::verbose, u"read complete from pos=%lld, size=%lld, size_read=%lld", m_pos, size,
                 size_read);
        m_pos += size_read;
        if (out_size_read) *out_size_read = size_read;
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT File::Write(const void* data, LONGLONG size, LONGLONG* out_size_written,
                    TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::Write");
    try {
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN((m_flags & TMK::AFS_OpenFile_Write) != 0, E_SP_WRONG_MODE);
        const ComPtr<TMK::IAFS_CacheEntry> cache = GetCache();
        CHECK_RETURN_TEXT(cache != nullptr, E_FAIL, u"m_cache != nullptr");
        LONGLONG size_written = 0;
        CHECK_RESULT_TEXT(
            cache->Write(m_pos, data, size, &size_written, out_error_details, cancel_flag),
            u"m_cache->Write(m_pos, data, size, &size_written, out_error_details, cancel_flag)");
        LOG_LINE(Log::verbose, u"write complete from pos=%lld, size=%lld, size_written=%lld", m_pos, size,
                 size_written);
        m_pos += size_written;
        if (size_written != 0) m_dirty = true;
        if (out_size_written) *out_size_written = size_written;
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT File::SetPos(LONGLONG offset, int32_t origin, LONGLONG* out_new_pos) {
    TRACE_ENTRY("File::SetPos");
    try {
        const ComPtr<TMK::IAFS_CacheEntry> cache = GetCache();
        CHECK_RETURN_TEXT(cache != nullptr, E_FAIL, u"m_cache != nullptr");
        LONGLONG size = 0;
        CHECK_RESULT_TEXT(cache->get_Size(&size), u"m_cache->get_Size(&size)");
        CHECK_THROW_TEXT(origin >= 0 && origin <= 2, u"origin", HResultException, E_INVALIDARG,
                         u"Unsupported origin type");
        LOG_LINE(Log::verbose, u"changing pos=%lld by offset=%lld type=%i, size=%lld", m_pos, offset, origin,
                 size);
        const LONGLONG base = origin == 0 ? 0 : origin == 1 ? m_pos : size;
        m_pos = Seek(base, offset, size);
        if (out_new_pos) *out_new_pos = m_pos;
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT File::GetPos(LONGLONG* out_pos) {
    TRACE_ENTRY("File::GetPos");
    RETURN_VALUE(out_pos, m_pos);
}

HRESULT File::SetSize(LONGLONG new_size, TMK::ITMK_ErrorDetails* out_error_details,
                      TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::SetSize");
    try {
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN((m_flags & TMK::AFS_OpenFile_Write) != 0, E_SP_WRONG_MODE);
        const ComPtr<TMK::IAFS_CacheEntry> cache = GetCache();
        CHECK_RETURN_TEXT(cache != nullptr, E_FAIL, u"m_cache != nullptr");
        CHECK_RESULT_TEXT(cache->SetSize(new_size, out_error_details, cancel_flag),
                          u"m_cache->SetSize(new_size, out_error_details, cancel_flag)");
        LOG_LINE(Log::verbose, u"set size to %lld", new_size);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT File::GetSize(LONGLONG* out_size, TMK::ITMK_ErrorDetails* out_error_details,
                      TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::GetSize");
    try {
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        CHECK_RETURN(out_size != nullptr, E_POINTER);
        const ComPtr<TMK::IAFS_CacheEntry> cache = GetCache();
        CHECK_RETURN_TEXT(cache != nullptr, E_FAIL, u"m_cache != nullptr");
        CHECK_RESULT_TEXT(cache->get_Size(out_size), u"m_cache->get_Size(out_size)");
        if (out_error_details) out_error_details->Clear();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

HRESULT File::Flush(TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("File::Flush");
    try {
        const OperationScope operation_scope(cancel_flag);
        CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
        if (!m_dirty) {
            LOG_LINE(Log::verbose, u"nothing to flush for m_name='%s'", MaskForLog(m_name->GetUrl()));
            TRACE_RETURN(S_OK);
        }
        const ComPtr<TMK::IAFS_CacheEntry> cache = GetCache();
        CHECK_RETURN_TEXT(cache != nullptr, E_FAIL, u"m_cache != nullptr");
        LOG_LINE(Log::verbose, u"flushing to server m_name='%s'", MaskForLog(m_name->GetUrl()));
        const HRESULT flush_result = cache->Flush(out_error_details, cancel_flag);
        CHECK_RETURN_TEXT(SUCCEEDED(flush_result), flush_result, u"flush_result");
        m_dirty = false;
        m_document->m_need_checkin = true;
        TakeVersionAfterFlush();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(out_error_details)
}

// The cache's callback fetched the record again after the upload, so that the user's own save is never a
// conflict. A version that is not the one that was sent stays a conflict for the next save.
void File::TakeVersionAfterFlush() {
    TRACE_NAME("File::Flush");
    const uint64_t before = m_modified_time;
    const LocalCopy::Upload upload = m_copy ? m_copy->TakeUpload() : LocalCopy::Upload::none;
    if (upload == LocalCopy::Upload::of_somebody_else) {
        LOG_LINE(Log::warning, u"the version on the server is not the one that was sent");
        m_is_outdated = true;
        return;
    }
    KnownVersion version = VersionOnServer();
    if (upload == LocalCopy::Upload::own) {
        version = m_copy->GetVersion();
    } else {
        version.m_tags.m_entity.clear();  // the record may be older than the check-out
    }
    TakeVersion(version);
    LOG_LINE(Log::verbose, u"updated m_modified_time from %llu to %llu", before, m_modified_time);
}

void File::TakeVersion(const KnownVersion& version) {
    m_modified_time = version.m_modified_time;
    m_tags = version.m_tags;
    m_tags_step = version.m_workflow_step;
    m_is_outdated = false;
}

KnownVersion File::VersionOnServer() const {
    return {Information().m_modified_time, Information().m_tags, m_document->m_workflow_step};
}

// Whether the version in the object's record is another than the one that this handle works on. A version
// that was put back keeps its old time, and times have whole seconds: there the tags decide.
bool File::IsOutdated() const {
    SharePoint::VersionTags known = m_tags;
    if (m_tags_step != m_document->m_workflow_step) known.m_entity.clear();
    return m_is_outdated || m_modified_time < Information().m_modified_time ||
           SharePoint::AreOfOtherContent(known, Information().m_tags);
}

void File::CountWorkflowStep() {
    ++m_document->m_workflow_step;
}

void File::ResetCache() {
    TRACE_ENTRY("File::ResetCache");
    CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
    CHECK_THROW(m_cache != nullptr, HResultException, E_SP_NOT_FOUND);
    const auto files_cache = m_name->GetSession()->GetFilesCache();
    {
        const std::lock_guard lock(m_cache_lock);
        m_cache.reset();
        m_copy.reset();
        files_cache->ReleaseCache(this, 0);
    }
    if (const HRESULT result = files_cache->DeleteEntryEx(m_name.get(), 0); FAILED(result)) {
        LOG_LINE(Log::error, u"DeleteEntryEx failed with result '%d'!", result);
    }
    // The person wants what the server has now, however lately it was asked.
    OperationScope::ForgetAnswers();
    CHECK_RESULT_THROW(AcquireCache(nullptr, nullptr));
    m_pos = 0;
    m_dirty = false;
    TRACE_EXIT(u"");
}

void File::ReopenCacheFile(const VARIANT& data) {
    TRACE_ENTRY("File::ReopenCacheFile");
    CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
    CHECK_THROW(m_cache != nullptr, HResultException, E_SP_NOT_FOUND);
    CHECK_THROW(data.vt == VT_BOOL, HResultException, E_INVALIDARG);
    const bool for_read = data.boolVal != VARIANT_FALSE;
    LOG_LINE(Log::verbose, u"%s", for_read ? u"reopening cache for read" : u"reopening cache for write");
    const std::lock_guard lock(m_cache_lock);
    CHECK_RESULT_THROW(for_read ? m_cache->ReopenForRead() : m_cache->ReopenForWrite());
    TRACE_EXIT(u"");
}
