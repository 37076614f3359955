#include "afs/document/file_stream.h"

#include <algorithm>
#include <vector>

#include "base/failure.h"

namespace {

constexpr ULONGLONG kCopyBlock = 0x10000;
constexpr HRESULT kCodeMask = 0xFFFF;
constexpr HRESULT kSectorNotFound = 27;

}  // namespace

HRESULT fsFileStreamBase::Read(void* data, ULONG size, ULONG* out_read) {
    TRACE_ENTRY("fsFileStreamBase::Read");
    LONGLONG read = 0;
    const HRESULT result = m_file->Read(data, size, &read, nullptr, nullptr);
    if (out_read) *out_read = static_cast<ULONG>(read);
    if (read < size && (SUCCEEDED(result) || (result & kCodeMask) == kSectorNotFound)) TRACE_RETURN(S_FALSE);
    TRACE_EXIT(result);
    return result;
}

HRESULT fsFileStreamBase::Write(const void* data, ULONG size, ULONG* out_written) {
    TRACE_ENTRY("fsFileStreamBase::Write");
    LONGLONG written = 0;
    const HRESULT result = m_file->Write(data, size, &written, nullptr, nullptr);
    if (out_written) *out_written = static_cast<ULONG>(written);
    TRACE_EXIT(result);
    return result;
}

HRESULT fsFileStreamBase::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* out_position) {
    TRACE_ENTRY("fsFileStreamBase::Seek");
    LONGLONG position = 0;
    const int32_t from =
        origin == STREAM_SEEK_CUR || origin == STREAM_SEEK_END ? static_cast<int32_t>(origin) : 0;
    const HRESULT result = m_file->SetPos(move.QuadPart, from, &position);
    if (out_position) out_position->QuadPart = static_cast<ULONGLONG>(position);
    TRACE_EXIT(result);
    return result;
}

HRESULT fsFileStreamBase::SetSize(ULARGE_INTEGER size) {
    TRACE_ENTRY("fsFileStreamBase::SetSize");
    return m_file->SetSize(static_cast<LONGLONG>(size.QuadPart), nullptr, nullptr);
}

HRESULT fsFileStreamBase::CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER*, ULARGE_INTEGER*) {
    TRACE_ENTRY("fsFileStreamBase::CopyTo");
    try {
        CHECK_RETURN(target != nullptr, E_POINTER);
        std::vector<char> buffer(static_cast<size_t>(std::min(count.QuadPart, kCopyBlock)));
        HRESULT result = S_OK;
        for (ULONGLONG left = count.QuadPart; left > 0;) {
            ULONG read = 0;
            result = Read(buffer.data(), static_cast<ULONG>(std::min<ULONGLONG>(left, buffer.size())), &read);
            if (FAILED(result) || read == 0) break;
            result = target->Write(buffer.data(), read, nullptr);
            if (FAILED(result)) break;
            left -= read;
        }
        TRACE_EXIT(result);
        return result;
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT fsFileStreamBase::Commit(DWORD) {
    TRACE_ENTRY("fsFileStreamBase::Commit");
    return m_file->Flush(nullptr, nullptr);
}

HRESULT fsFileStreamBase::Revert() {
    TRACE_ENTRY("fsFileStreamBase::Revert");
    TRACE_RETURN(E_NOTIMPL);
}

HRESULT fsFileStreamBase::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    TRACE_ENTRY("fsFileStreamBase::LockRegion");
    TRACE_RETURN(E_NOTIMPL);
}

HRESULT fsFileStreamBase::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    TRACE_ENTRY("fsFileStreamBase::UnlockRegion");
    TRACE_RETURN(E_NOTIMPL);
}

HRESULT fsFileStreamBase::Stat(STATSTG* out_stat, DWORD) {
    TRACE_ENTRY("fsFileStreamBase::Stat");
    CHECK_RETURN(out_stat != nullptr, E_POINTER);
    *out_stat = {};
    out_stat->type = STGTY_STREAM;
    LONGLONG size = 0;
    CHECK_RESULT(m_file->GetSize(&size, nullptr, nullptr));
    out_stat->cbSize.QuadPart = static_cast<ULONGLONG>(size);
    TRACE_RETURN(S_OK);
}

HRESULT fsFileStreamBase::Clone(IStream** out_stream) {
    TRACE_ENTRY("fsFileStreamBase::Clone");
    try {
        CHECK_RETURN(out_stream != nullptr, E_POINTER);
        *out_stream = nullptr;
        CHECK_RETURN(m_file != nullptr, E_FAIL);
        ComPtr<TMK::IAFS_File> clone;
        CHECK_RESULT(m_file->Clone(clone.put()));
        *out_stream = MakeObject<fsFileStreamBase>(std::move(clone)).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}
