// The host's user interface: icons, images, commands and the objects of windows, as far as plug-ins name them.
// Main thread only.
#pragma once

#include "hostapi/common.h"

namespace TMK {

struct IUIX_Image : IUnknown {
    static constexpr IID kIid{0x25D0C8E5, 0x4A77, 0x4D21, {0xA1, 0x58, 0x0F, 0x93, 0x6C, 0xB4, 0x27, 0x96}};
    virtual HRESULT get_Size(UINT* out_width, UINT* out_height) = 0;
};

struct IUIX_Icon : IUnknown {
    static constexpr IID kIid{0x90C41DB6, 0x15F3, 0x4E9A, {0x87, 0x2C, 0x5D, 0x41, 0xEE, 0x08, 0x93, 0xA7}};
    virtual HRESULT get_ImagesCount(UINT* out_count) = 0;
};

// An icon in the making; Finish hands the icon out and ends the making.
struct IUIX_MultiSizeIcon : IUnknown {
    static constexpr IID kIid{0xF2A87C37, 0x6B80, 0x4052, {0x9E, 0x04, 0x78, 0xD5, 0x1A, 0x6F, 0xC3, 0xB8}};
    virtual HRESULT AddImage(IUIX_Image* image) = 0;
    virtual HRESULT Finish(IUIX_Icon** out_icon) = 0;
};

// The extension "UIX".
struct IUIX_Inst : IUnknown {
    static constexpr IID kIid{0x6D3B90E8, 0x2F54, 0x4A1C, {0xB0, 0x9B, 0x16, 0x27, 0xF8, 0x4C, 0x5E, 0xC9}};
    virtual HRESULT CreateMultiSizeIcon(IUIX_MultiSizeIcon** out_icon) = 0;
    virtual HRESULT CreateImage(IStream* stream, IUIX_Image** out_image) = 0;  // PNG; E_FAIL for anything else
};

}  // namespace TMK
