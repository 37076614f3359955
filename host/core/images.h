// The extensions "RGC" and "UIX" as far as a terminal needs them: PNG pictures are checked and measured.
// Any thread; an object by one thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "hostapi/irgc.h"
#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

namespace host {

class Windows;

struct ImageSize {
    std::uint32_t width;
    std::uint32_t height;
};

// The size of a PNG picture by its checked header; nothing for anything else.
std::optional<ImageSize> ReadPngSize(std::string_view bytes);

// A whole stream from where it stands; throws a Failure for one larger than `limit` bytes.
std::string ReadStream(IStream* stream, std::size_t limit = 64u << 20);

ComPtr<TMK::IRGC_Inst> MakeImageExtension();
// Windows are made in `windows`, which outlives it.
ComPtr<TMK::IUIX_Inst> MakeUserInterfaceExtension(Windows& windows);

}  // namespace host
