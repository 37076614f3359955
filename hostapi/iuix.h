// The host's user interface: icons, images, commands and the objects of windows, as far as plug-ins name
// them. Main thread only.
#pragma once

#include "hostapi/common.h"
#include "hostapi/icommands.h"
#include "hostapi/irgc.h"
#include "hostapi/iwindows.h"

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

// What happens to a window; numbers that are not named here belong to single controls.
enum UIX_EventCode : DWORD {
    UIX_Event_Size = 5,
    UIX_Event_InitDialog = 272,  // first of all, inside DoModal; a failure of its handler ends the start
    UIX_Event_BeforeDestroy = 6457,
    UIX_Event_Notify = 6482,  // from a control
    UIX_Event_ShowModal = 6502,
    UIX_Event_PreEndModal = 6503,
    UIX_Event_EndModal = 6504,
};

// PreEndModal: nParam1 is the result that the window is to end with, and a handler that sets bHandled keeps
// the window open. Notify: see UIX_ControlAction. A message that is posted to the window's handle arrives as
// an event of its number, with its two parameters, inside DoModal.

struct UIX_Event {
    DWORD nCode;
    DWORD_PTR nParam1;
    DWORD_PTR nParam2;
    LONGLONG nResult;
    VARIANT_BOOL bHandled;  // set by the handler; what is left unset gets the host's own treatment
};

enum UIX_ObjModal : DWORD { UIX_ObjModal_AppModal = 1 };

// A window of the host, made from a template.
struct IUIX_Obj : IUnknown {
    static constexpr IID kIid{0x78020060, 0x19ED, 0x431C, {0x88, 0x01, 0x7B, 0xDA, 0x60, 0x60, 0x6D, 0x5A}};
    virtual HRESULT get_WndHandle(HWND* out_window) = 0;
    // The nearest real window, from this one upwards: what a foreign control is put into.
    virtual HRESULT GetFirstHWND(HWND* out_window) = 0;
    virtual HRESULT GetClientRect(RECT* out_rectangle) = 0;
    // Shows the window and handles events until EndModal, which gives the result; a window that the user
    // closes ends with 0. A failure leaves the result alone.
    virtual HRESULT DoModal(DWORD mode, LONGLONG* in_out_result) = 0;
    virtual HRESULT EndModal(LONGLONG result) = 0;          // S_FALSE when it is not modal (any more)
    virtual HRESULT Destroy() = 0;                          // S_FALSE when it is gone already
    virtual HRESULT get_Parent(IUIX_Obj** out_parent) = 0;  // S_FALSE and null: the screen
    virtual HRESULT GetRect(RECT* out_rectangle) = 0;       // in the parent
    virtual HRESULT SetStyle(DWORD value, DWORD mask) = 0;  // the bits of the mask become those of the value
    virtual HRESULT get_ID(DWORD* out_id) = 0;  // the atom of the name that it has in its template
    // A control of the window by the atom of its name; S_FALSE and null: none.
    virtual HRESULT GetControl(DWORD id, IUIX_Obj** out_control) = 0;
    // A window's title, a button's caption, what stands in an edit field. Line ends are "\n".
    virtual HRESULT get_Text(BSTR* out_text) = 0;
    virtual HRESULT put_Text(LPCWSTR text) = 0;
    virtual HRESULT get_Enabled(VARIANT_BOOL* out_enabled) = 0;
    virtual HRESULT put_Enabled(VARIANT_BOOL enabled) = 0;
    virtual HRESULT Show(LONG command) = 0;  // 0 hides; anything else shows
    virtual HRESULT SetFocus() = 0;
};

// The plug-in's half of a window. The host holds it from CreateObj until the window is destroyed.
struct IUIX_ObjImpl : IUnknown {
    static constexpr IID kIid{0xB630E824, 0xF00A, 0x4782, {0x89, 0xC1, 0xE7, 0x42, 0xFF, 0xE0, 0x68, 0xFD}};
    virtual HRESULT put_Obj(IUIX_Obj* object) = 0;  // when the window is made; null when it is destroyed
    virtual HRESULT OnEvent(UIX_Event* event) = 0;
};

struct UIX_CreateObjParams {
    IUIX_ObjImpl* pImpl;
    LPCVOID pTemplate;  // a document of dialog templates, UTF-8
    DWORD nTemplateSize;
    LPCWSTR szTemplateId;
    DWORD nStyle;  // of the window, in the windowing system's own bits
    HWND hParent;  // null: the main window
    // A control without a template instead: its kind, the window that it goes into, and its place there.
    LPCWSTR szClass;
    IUIX_Obj* pParent;
    RECT rcPlace;
};

enum UIX_ObjStyle : DWORD {
    UIX_ObjStyle_NoBorder = 0x20,
    UIX_ObjStyle_NoBackground = 0x40,
};

// The look of the editor, and the icons that go with it.
struct IUIX_Theme : IUnknown {
    static constexpr IID kIid{0xD94E60A1, 0x5B27, 0x4C8F, {0x83, 0xDA, 0x41, 0x9F, 0xB0, 0x6C, 0x25, 0xE8}};
    virtual HRESULT GetIcon(LPCWSTR name, IUIX_Icon** out_icon) = 0;  // S_FALSE and null: it has none
};

// The extension "UIX".
struct IUIX_Inst : IUnknown {
    static constexpr IID kIid{0x6D3B90E8, 0x2F54, 0x4A1C, {0xB0, 0x9B, 0x16, 0x27, 0xF8, 0x4C, 0x5E, 0xC9}};
    virtual HRESULT CreateMultiSizeIcon(IUIX_MultiSizeIcon** out_icon) = 0;
    virtual HRESULT CreateImage(IStream* stream,
                                IUIX_Image** out_image) = 0;  // PNG; E_FAIL for anything else
    // Makes a window and tells its implementation; E_INVALIDARG when the template holds no such dialog.
    virtual HRESULT CreateObj(const UIX_CreateObjParams* parameters,
                              IUIX_Obj** out_object) = 0;  // may be null
    virtual HRESULT get_CmdManager(IUIX_CmdManager** out_manager) = 0;
    virtual HRESULT get_Theme(IUIX_Theme** out_theme) = 0;
    virtual HRESULT get_ImageExt(IRGC_Inst** out_images) = 0;  // the extension "RGC"
    // A bar that belongs to `parent`. The reserved arguments are null.
    virtual HRESULT CreateCmdBar(IUIX_Obj* parent, const RECT* rectangle, LPCWSTR reserved1,
                                 LPCWSTR reserved2, DWORD style, IUIX_CmdBar** out_bar) = 0;
    virtual HRESULT GetIcon(BSTR name, IUIX_Icon** out_icon) = 0;  // S_FALSE and null: there is none
    // The picture of a kind of file; `extension` has its dot, or is "." alone.
    virtual HRESULT CreateFileTypeIcon(LPWSTR extension, DWORD flags, IUIX_Icon** out_icon) = 0;
};

}  // namespace TMK
