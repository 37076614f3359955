// The extension "RGC": PNG pictures, which are checked and measured.
// Any thread; an object by one thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/base/object.h"
#include "hostapi/irgc.h"
#include "platform/com_ptr.h"

namespace host {

struct ImageSize {
    std::uint32_t width;
    std::uint32_t height;
};

// Something with the size of a picture.
template <class Interface>
class Sized final : public Object<Interface> {
public:
    explicit Sized(ImageSize size) : m_size(size) {}
    HRESULT get_Size(UINT* out_width, UINT* out_height) override {
        if (!out_width || !out_height) return E_POINTER;
        *out_width = m_size.width;
        *out_height = m_size.height;
        return S_OK;
    }

private:
    const ImageSize m_size;
};

// The size of a PNG picture by its checked header; nothing for anything else.
std::optional<ImageSize> ReadPngSize(std::string_view bytes);

// The rest of a stream; throws a Failure for more than `limit` bytes.
std::string ReadStream(IStream* stream, std::size_t limit = 64u << 20);

ComPtr<TMK::IRGC_Inst> MakeImageExtension();

}  // namespace host
