// The editor around a document: its views, its core document with permissions, its information bar, and
// timers. Main thread only.
#pragma once

#include "hostapi/common.h"
#include "hostapi/icommands.h"

namespace TMK {

struct IAFS_File;
struct ITMK_Document;

// Where a document was read from.
struct ITMK_SrcInfo : IUnknown {
    static constexpr IID kIid{0x3C9A0E64, 0xD71B, 0x4F85, {0xA0, 0x2D, 0x6E, 0x18, 0xB7, 0xF3, 0x54, 0x9C}};
    virtual HRESULT get_File(IAFS_File** out_file) = 0;  // null for a document that was never saved
};

// The permission bits of a PDF document; bits of a mask that are set are switched off.
enum TMK_Permission : DWORD {
    TMK_Permission_Print = 0x4,
    TMK_Permission_Modify = 0x8,
    TMK_Permission_Copy = 0x10,
    TMK_Permission_Annotate = 0x20,
    TMK_Permission_FillForms = 0x100,
    TMK_Permission_Accessibility = 0x200,
    TMK_Permission_Assemble = 0x400,  // insert, rotate and delete pages
    TMK_Permission_PrintHighQuality = 0x800,
};

enum TMK_PermissionSource : DWORD { TMK_PermissionSource_Restricted = 1 };
enum TMK_PermissionKind : DWORD { TMK_PermissionKind_Mask = 4 };

enum TMK_Change : DWORD { TMK_Change_Properties = 2 };
enum TMK_ChangedProperty : DWORD {
    TMK_ChangedProperty_Title = 5,  // what windows show as the document's name and state
    TMK_ChangedProperty_Permissions = 21,
};

// The document itself, apart from any window.
struct ITMK_CoreDoc : IUnknown {
    static constexpr IID kIid{0xF6D10B83, 0x2E4C, 0x4957, {0xB8, 0x19, 0x0C, 0xA5, 0x7F, 0x62, 0xE3, 0xD0}};
    virtual HRESULT get_SrcInfo(ITMK_SrcInfo** out_source) = 0;  // null for none
    // What plug-ins take from the document's own permissions; 0 gives all back.
    virtual HRESULT SetRestrictedPermissions(DWORD mask) = 0;
    // The mask of (TMK_PermissionSource_Restricted, TMK_PermissionKind_Mask); E_INVALIDARG for others.
    virtual HRESULT GetPermissions(DWORD source, DWORD kind, DWORD* out_permissions) = 0;
    // Tells all that show the document of a change.
    virtual HRESULT NotifyChange(DWORD change, DWORD property, DWORD_PTR parameter) = 0;
};

// A document in a window.
struct ITMK_DocumentView : IUnknown {
    static constexpr IID kIid{0x85B2E7F0, 0x90AD, 0x4C31, {0x87, 0x5F, 0xE4, 0x13, 0x6B, 0xD9, 0x28, 0xA6}};
    virtual HRESULT get_Doc(ITMK_Document** out_document) = 0;
};

// A part of the editor's window that has commands of its own; the source of "e.customizeCmdLayout".
struct ITMK_View : IUnknown {
    static constexpr IID kIid{0x1D07C5BA, 0x68F4, 0x4E29, {0x91, 0xB3, 0x7A, 0x5C, 0xE0, 0x84, 0x3F, 0xD1}};
    virtual HRESULT get_ID(DWORD* out_id) = 0;                 // the atom of "mainView" for the window's own
    virtual HRESULT get_Ribbon(IUIX_Ribbon** out_ribbon) = 0;  // S_FALSE and null: it has menus
    virtual HRESULT FindCmdBar(DWORD id, IUIX_CmdBar** out_bar) = 0;  // S_FALSE and null: none
};

struct ITMK_TimerCallback : IUnknown {
    static constexpr IID kIid{0xAB4F39D6, 0x1C82, 0x4D70, {0x9E, 0xB5, 0x30, 0xF7, 0x64, 0xC8, 0x0A, 0x5B}};
    virtual HRESULT OnTimer(DWORD timer_id) = 0;
};

// A page of a window of properties or preferences, made by a plug-in; an IUIX_ObjImpl as well. It hears
// UIX_Event_InitDialog once its controls are made. Main thread only.
struct IUIX_PropPage : IUnknown {
    static constexpr IID kIid{0x0B8E54D7, 0x36FA, 0x4C19, {0x95, 0x7D, 0xC0, 0x4E, 0xA1, 0x68, 0x2B, 0xF3}};
    // The document that holds the page's dialog; it stands as long as the plug-in is loaded. The page's title
    // is the text "$$$.PRODUCT.NAME" of the document's product and the page's name.
    virtual HRESULT get_Template(LPCVOID* out_template, DWORD* out_size) = 0;
    // The person confirms the window. What was not applied when it closes is forgotten.
    virtual HRESULT Apply() = 0;
};

// The pages of a window of properties or preferences; the source of "e.customizePropDialog".
struct IUIX_PropSheets : IUnknown {
    static constexpr IID kIid{0x62E8F05D, 0xB93A, 0x41C7, {0xAD, 0x08, 0x95, 0x2B, 0x1F, 0xD6, 0x7E, 0x43}};
    virtual HRESULT get_ID(BSTR* out_id) = 0;  // "DlgAppPrefs" for the host's preferences
    // `page` is an IUIX_PropPage; `name` says which dialog of its template it is, and `before` the page that
    // it goes before, null for the end. E_INVALIDARG for another object, a page of that name, or a template
    // without such a dialog.
    virtual HRESULT InsertPage(IUnknown* page, LPCWSTR name, LPCWSTR before, DWORD flags) = 0;
};

}  // namespace TMK
