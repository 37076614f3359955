// What every host interface leans on: cancel flags, error details, string objects, progress monitors.
// Owned by neither side; both the host and its plug-ins include it. Strings passed in are borrowed, out
// arguments hand over one reference (interfaces) or one allocation (BSTR) to the caller.
#pragma once

#include "platform/base.h"
#include "platform/com.h"
#include "platform/window_messages.h"

struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};

namespace TMK {

// A long operation's way to learn that the user has changed his mind; may be asked from any thread.
struct ITMK_CancelFlag : IUnknown {
    static constexpr IID kIid{0x5B0D1C4A, 0x8E0F, 0x4C55, {0x9A, 0x21, 0x6B, 0x1F, 0x0E, 0x52, 0x77, 0x10}};
    virtual HRESULT get_IsCanceled(VARIANT_BOOL* out_canceled) = 0;
};

// Receives the text of a failure at the host boundary; the plug-in only ever fills one, it never makes one.
struct ITMK_ErrorDetails : IUnknown {
    static constexpr IID kIid{0x0C7F37D2, 0x2D4B, 0x4A0C, {0x8C, 0x4E, 0x11, 0x7A, 0x52, 0xD9, 0x30, 0x41}};
    virtual HRESULT put_Text(LPCWSTR text) = 0;
    virtual HRESULT Clear() = 0;
};

// A string as a host object.
struct IString : IDispatch {
    static constexpr IID kIid{0x3D2C9F10, 0x61B7, 0x4E63, {0xA4, 0x0B, 0x90, 0x6E, 0x44, 0x38, 0xD1, 0x52}};
    virtual HRESULT get_Value(BSTR* out_value) = 0;
    virtual HRESULT put_Value(LPCWSTR value) = 0;  // null means empty
    virtual HRESULT get_IsEmpty(VARIANT_BOOL* out_empty) = 0;
    virtual HRESULT Clear() = 0;
    virtual HRESULT get_Length(UINT* out_length) = 0;          // in UTF-16 units
    virtual HRESULT SetValue(LPCWSTR value, UINT length) = 0;  // a null value or length 0 empties it
};

// Shows how far a long operation has come; called on the thread that works.
struct ITMK_ProgressMon : IUnknown {
    static constexpr IID kIid{0x77A1E2B3, 0x04C8, 0x4B0D, {0xB6, 0x3F, 0x25, 0x8A, 0x9D, 0x61, 0x0C, 0x63}};
    virtual HRESULT SetTotal(ULONGLONG total) = 0;
    virtual HRESULT SetPosition(ULONGLONG position) = 0;
};

}  // namespace TMK
