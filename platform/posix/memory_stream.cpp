// Global memory blocks, and the streams over them.
// Blocks and streams belong to one thread at a time; a stream's count may be changed from any.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "platform/com.h"

namespace {

struct Block {
    char* data = nullptr;
    std::size_t size = 0;
    std::size_t capacity = 0;
    unsigned locks = 0;
};

Block* ToBlock(HGLOBAL memory) {
    return static_cast<Block*>(memory);
}

// New bytes are zero; a shrinking block keeps its memory.
bool Resize(Block& block, std::size_t size) {
    if (size > block.capacity) {
        const std::size_t capacity = std::max(size, block.capacity * 2);
        char* data = static_cast<char*>(std::realloc(block.data, capacity));
        if (!data) return false;
        block.data = data;
        block.capacity = capacity;
    }
    if (size > block.size) std::memset(block.data + block.size, 0, size - block.size);
    block.size = size;
    return true;
}

class MemoryStream final : public IStream {
public:
    MemoryStream(HGLOBAL memory, bool owns) : m_memory(memory), m_owns(owns) {}

    HRESULT QueryInterface(REFIID iid, void** out_object) override {
        if (!out_object) return E_POINTER;
        *out_object = nullptr;
        if (iid != kIidOf<IUnknown> && iid != kIidOf<ISequentialStream> && iid != kIidOf<IStream>)
            return E_NOINTERFACE;
        AddRef();
        *out_object = static_cast<IStream*>(this);
        return S_OK;
    }
    ULONG AddRef() override { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG Release() override {
        const ULONG left = m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (!left) delete this;
        return left;
    }

    HRESULT Read(void* data, ULONG size, ULONG* out_read) override {
        if (out_read) *out_read = 0;
        if (!data) return STG_E_INVALIDPOINTER;
        const std::size_t left = block().size - std::min<std::size_t>(block().size, m_position);
        const ULONG count = static_cast<ULONG>(std::min<std::size_t>(left, size));
        if (count) std::memcpy(data, block().data + m_position, count);
        m_position += count;
        if (out_read) *out_read = count;
        return S_OK;
    }
    HRESULT Write(const void* data, ULONG size, ULONG* out_written) override {
        if (out_written) *out_written = 0;
        if (!data) return STG_E_INVALIDPOINTER;
        if (m_position > kLimit - size) return STG_E_MEDIUMFULL;
        const std::size_t end = m_position + size;
        if (end > block().size && !Resize(block(), end)) return STG_E_MEDIUMFULL;
        if (size) std::memcpy(block().data + m_position, data, size);
        m_position = end;
        if (out_written) *out_written = size;
        return S_OK;
    }
    HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* out_position) override {
        if (origin > STREAM_SEEK_END) return STG_E_INVALIDFUNCTION;
        const std::size_t from = origin == STREAM_SEEK_SET   ? 0
                                 : origin == STREAM_SEEK_CUR ? m_position
                                                             : block().size;
        LONGLONG target;
        if (__builtin_add_overflow(static_cast<LONGLONG>(from), move.QuadPart, &target) || target < 0)
            return STG_E_INVALIDFUNCTION;
        m_position = static_cast<std::size_t>(target);
        if (out_position) out_position->QuadPart = m_position;
        return S_OK;
    }
    HRESULT SetSize(ULARGE_INTEGER size) override {
        return size.QuadPart <= kLimit && Resize(block(), size.QuadPart) ? S_OK : STG_E_MEDIUMFULL;
    }
    HRESULT CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* out_read,
                   ULARGE_INTEGER* out_written) override {
        if (!target) return STG_E_INVALIDPOINTER;
        ULONGLONG done = 0;
        HRESULT result = S_OK;
        while (done < count.QuadPart && SUCCEEDED(result)) {
            char buffer[16384];
            ULONG got = 0;
            Read(buffer, static_cast<ULONG>(std::min<ULONGLONG>(sizeof buffer, count.QuadPart - done)), &got);
            if (!got) break;
            ULONG put = 0;
            result = target->Write(buffer, got, &put);
            done += put;
            if (put != got) break;
        }
        if (out_read) out_read->QuadPart = done;
        if (out_written) out_written->QuadPart = done;
        return result;
    }
    HRESULT Commit(DWORD) override { return S_OK; }
    HRESULT Revert() override { return S_OK; }
    HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    HRESULT Stat(STATSTG* out_stat, DWORD) override {
        if (!out_stat) return STG_E_INVALIDPOINTER;
        std::memset(out_stat, 0, sizeof *out_stat);
        out_stat->type = STGTY_STREAM;
        out_stat->cbSize.QuadPart = block().size;
        return S_OK;
    }
    // Nobody shares a block between streams here.
    HRESULT Clone(IStream** out_stream) override {
        if (!out_stream) return STG_E_INVALIDPOINTER;
        *out_stream = nullptr;
        return E_NOTIMPL;
    }

private:
    static constexpr std::size_t kLimit = 0x7FFFFFFFFFFF;

    ~MemoryStream() {
        if (m_owns) GlobalFree(m_memory);
    }
    Block& block() { return *ToBlock(m_memory); }

    std::atomic<ULONG> m_count{1};
    HGLOBAL m_memory;
    bool m_owns;
    std::size_t m_position = 0;
};

}  // namespace

HGLOBAL GlobalAlloc(UINT, SIZE_T size) {
    std::unique_ptr<Block> block(new (std::nothrow) Block);
    if (block && Resize(*block, size)) return block.release();
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

LPVOID GlobalLock(HGLOBAL memory) {
    if (!memory) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    ++ToBlock(memory)->locks;
    return ToBlock(memory)->data;
}

BOOL GlobalUnlock(HGLOBAL memory) {
    if (!memory) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    unsigned& locks = ToBlock(memory)->locks;
    if (locks) --locks;
    if (!locks) SetLastError(NO_ERROR);
    return locks != 0;
}

HGLOBAL GlobalFree(HGLOBAL memory) {
    if (memory) {
        std::free(ToBlock(memory)->data);
        delete ToBlock(memory);
    }
    return nullptr;
}

HRESULT CreateStreamOnHGlobal(HGLOBAL memory, BOOL delete_on_release, IStream** out_stream) {
    if (!out_stream) return E_INVALIDARG;
    *out_stream = nullptr;
    HGLOBAL own = nullptr;
    if (!memory) memory = own = GlobalAlloc(GHND, 0);
    if (!memory) return E_OUTOFMEMORY;
    *out_stream = new (std::nothrow) MemoryStream(memory, delete_on_release != FALSE);
    if (!*out_stream) GlobalFree(own);
    return *out_stream ? S_OK : E_OUTOFMEMORY;
}

IStream* SHCreateMemStream(const BYTE* data, UINT size) {
    HGLOBAL memory = GlobalAlloc(GHND, data ? size : 0);
    if (!memory) return nullptr;
    if (data && size) std::memcpy(ToBlock(memory)->data, data, size);
    IStream* stream = nullptr;
    if (FAILED(CreateStreamOnHGlobal(memory, TRUE, &stream))) GlobalFree(memory);
    return stream;
}
