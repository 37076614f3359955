// The host's image extension "RGC": decodes pictures into pages, and makes icons of them.
#pragma once

#include "hostapi/common.h"

namespace TMK {

struct IUIX_Icon;

struct IRGC_Page : IUnknown {
    static constexpr IID kIid{0xB1F4672A, 0x8D3E, 0x4C90, {0x95, 0x67, 0xE2, 0x0B, 0x74, 0x19, 0xAC, 0xDA}};
    virtual HRESULT get_Size(UINT* out_width, UINT* out_height) = 0;  // in pixels
};

struct IRGC_Image : IUnknown {
    static constexpr IID kIid{0x43E9D05B, 0x71A6, 0x4B3D, {0x8A, 0xF0, 0x5C, 0x96, 0x23, 0xD7, 0x4E, 0xEB}};
    virtual HRESULT LoadFromIStream(IStream* stream, DWORD flags) = 0;
    virtual HRESULT get_PagesCount(UINT* out_count) = 0;
    virtual HRESULT GetPage(UINT index, IUnknown* reserved, IRGC_Page** out_page) = 0;
};

struct IRGC_Inst : IUnknown {
    static constexpr IID kIid{0xD87A215C, 0x0EB4, 0x4F46, {0xBC, 0x83, 0x91, 0x3F, 0x6A, 0x50, 0xD8, 0xFC}};
    virtual HRESULT CreateEmptyImage(IRGC_Image** out_image) = 0;
    virtual HRESULT CreateIcon(LPCVOID png, DWORD size, IUIX_Icon** out_icon) = 0;  // E_FAIL: no PNG
};

}  // namespace TMK
