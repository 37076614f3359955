// The stream view of one file. One thread at a time.
#pragma once

#include "afs/document/file.h"
#include "base/scaffolding.h"

class fsFileStreamBase final : public cCoClassUnknownT<fsFileStreamBase, IStream> {
public:
    explicit fsFileStreamBase(File& file) : m_file(&file) {}
    explicit fsFileStreamBase(ComPtr<TMK::IAFS_File> file) : m_file(std::move(file)) {}

    void* QueryFurther(const IID& iid) {
        return iid == ISequentialStream::kIid ? static_cast<ISequentialStream*>(this) : nullptr;
    }

    HRESULT Read(void* data, ULONG size, ULONG* out_read) override;
    HRESULT Write(const void* data, ULONG size, ULONG* out_written) override;
    HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* out_position) override;
    HRESULT SetSize(ULARGE_INTEGER size) override;
    HRESULT CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* out_read,
                   ULARGE_INTEGER* out_written) override;
    HRESULT Commit(DWORD flags) override;
    HRESULT Revert() override;
    HRESULT LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
    HRESULT UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
    HRESULT Stat(STATSTG* out_stat, DWORD flags) override;
    HRESULT Clone(IStream** out_stream) override;

private:
    ComPtr<TMK::IAFS_File> m_file;
};
