// The controls of the host's windows, which are made from templates: buttons, check boxes, combo boxes, edit
// fields, labels, lists, pictures, lists of properties. Main thread only.
//
// A template's document has the root `dialogs`, one `dialog` a window, and in its `items` one element a
// control: `button`, `check`, `combo`, `edit`, `group`, `label`, `list`, `picture`. Lengths are in pixels of
// 96 to an inch, and the host scales them. A text that begins with "$$$." is the id of a localised one.
#pragma once

#include "hostapi/common.h"

namespace TMK {

struct IUIX_Icon;
struct IUIX_Obj;
struct IUIX_PropHost;

using PARAM_T = DWORD_PTR;  // what a maker of items wants to find again with them

// What a control tells its window: the event's nParam1 is the control's id (the atom of its name), and
// nParam2 one of these.
enum UIX_ControlAction : DWORD_PTR {
    UIX_Control_Clicked = 3,
    UIX_Control_TextChanged = 4,       // by the person, and by put_Text as well
    UIX_Control_SelectionChanged = 5,  // of a list or a combo box; by the person alone
    UIX_Control_NoticeClicked = 6,     // the button of a list's notice
};

// How an element of a template says more about a control: its attribute `style`, hexadecimal after "#".
enum UIX_ControlStyle : DWORD {
    UIX_Edit_MultiLine = 0x4,
    UIX_Edit_ReadOnly = 0x800,
    UIX_Edit_Password = 0x20,
    UIX_List_MultiSelect = 0x10,
    UIX_List_Properties = 0x1000,  // a list of properties: IUIX_PropList instead of IUIX_List
};

// What get_Control hands out can be asked for the interface of its kind.
struct IUIX_Button : IUnknown {
    static constexpr IID kIid{0x0D71A3C6, 0x58E2, 0x4F0B, {0x93, 0x4D, 0x26, 0xB8, 0xE7, 0x10, 0x5A, 0xF9}};
    virtual HRESULT Click() = 0;  // as the person would; S_FALSE when it is disabled or hidden
};

struct IUIX_Check : IUnknown {
    static constexpr IID kIid{0xA95C20F8, 0x3B64, 0x4D17, {0x8E, 0xD1, 0x70, 0xC5, 0x49, 0x3A, 0x6B, 0x02}};
    virtual HRESULT get_Checked(VARIANT_BOOL* out_checked) = 0;
    virtual HRESULT put_Checked(VARIANT_BOOL checked) = 0;
};

struct IUIX_Combo : IUnknown {
    static constexpr IID kIid{0x6E18D4B5, 0xF02A, 0x4593, {0xB7, 0x5C, 0x9A, 0x03, 0xD1, 0x82, 0xEE, 0x47}};
    virtual HRESULT get_ItemsCount(UINT* out_count) = 0;
    // Before the item at `index`; -1 is the end. `tip` and `icon` may be null.
    virtual HRESULT InsertItem(LONG index, LPCWSTR text, LPCWSTR tip, IUIX_Icon* icon, PARAM_T parameter,
                               DWORD flags) = 0;
    virtual HRESULT GetItemText(LONG index, BSTR* out_text) = 0;           // E_INVALIDARG outside
    virtual HRESULT GetItemParam(LONG index, PARAM_T* out_parameter) = 0;  // E_INVALIDARG outside
    virtual HRESULT Clear() = 0;
    virtual HRESULT get_SelItem(LONG* out_index) = 0;  // -1: none
    virtual HRESULT put_SelItem(LONG index) = 0;       // -1: none; E_INVALIDARG beyond the end
};

struct IUIX_Edit : IUnknown {
    static constexpr IID kIid{0x31F60E9D, 0xC74B, 0x4B28, {0xA0, 0x96, 0xE5, 0x2D, 0x18, 0x7F, 0x93, 0xBC}};
    virtual HRESULT put_AllowedChars(LPCWSTR characters) = 0;  // others can't be typed; null allows all
    virtual HRESULT put_ReadOnly(VARIANT_BOOL read_only) = 0;
    virtual HRESULT SetSelection(LONG first, LONG end) = 0;  // end -1: the text's
};

struct IUIX_Picture : IUnknown {
    static constexpr IID kIid{0xF48A7B12, 0x90DE, 0x4C65, {0x8B, 0x3F, 0x51, 0xC9, 0x64, 0xA0, 0x27, 0xD8}};
    virtual HRESULT put_Icon(IUIX_Icon* icon) = 0;  // null for none
};

// What shows that something goes on: made by CreateObj with the class "WaitProgress".
struct IUIX_WaitProgress : IUnknown {
    static constexpr IID kIid{0x82BD5F30, 0x1E49, 0x4A76, {0x9C, 0xE8, 0x0F, 0x67, 0xB3, 0x2A, 0xD4, 0x15}};
    virtual HRESULT Start() = 0;
    virtual HRESULT Stop() = 0;
};

struct SIZE {
    LONG cx;
    LONG cy;
};

struct UIX_ListItemID {
    LONG nItem;
    LONG nColumn;
};

enum UIX_DrawText : DWORD { UIX_DrawText_Right = 0x2, UIX_DrawText_EndEllipsis = 0x8000 };

// Answers for the rows of a list: the host asks for those in view alone. Texts and icons are needed until the
// next call.
struct IUIX_ListCallbacks : IUnknown {
    static constexpr IID kIid{0x5C93E70A, 0x24D8, 0x4E81, {0xB0, 0x7A, 0xC6, 0x1F, 0x95, 0x48, 0xD3, 0x6E}};
    // The text is the row's own: it stands until the row changes. S_FALSE: none.
    virtual HRESULT List_OnGetItemText(const UIX_ListItemID* item_id, LPCWSTR* out_text,
                                       UINT* out_text_length, DWORD* out_draw_text_flags) = 0;
    virtual HRESULT List_OnGetItemImageSize(const UIX_ListItemID* item_id, SIZE* out_size) = 0;
    virtual HRESULT List_OnGetItemImage(const UIX_ListItemID* item_id, IUIX_Icon** out_image,
                                        BYTE* out_opacity) = 0;
    virtual HRESULT List_OnHdrItemClicked(LONG column, LONG button) = 0;  // 0 left, 1 key, 2 right
    // Enter on a row counts as a double click.
    virtual HRESULT List_OnItemClick(LONG row, VARIANT_BOOL double_click) = 0;
};

enum UIX_ListColumnMask : DWORD {
    UIX_ListColumn_Title = 1,
    UIX_ListColumn_Tip = 2,
    UIX_ListColumn_Icon = 4,
    UIX_ListColumn_Width = 8,
    UIX_ListColumn_Style = 16,
};

enum UIX_ListColumnStyle : DWORD {
    UIX_ListColumn_Descending = 1,
    UIX_ListColumn_Ascending = 2,
    UIX_ListColumn_SortMask = 3,
};

struct IUIX_List : IUnknown {
    static constexpr IID kIid{0xD2069E4F, 0x6B81, 0x4F3A, {0x85, 0xC7, 0x3E, 0x90, 0xFD, 0x12, 0xA8, 0x54}};
    virtual HRESULT put_Callbacks(IUIX_ListCallbacks* callbacks) = 0;  // null before they go
    virtual HRESULT get_ColumnsCount(UINT* out_count) = 0;
    virtual HRESULT InsertColumn(LONG index, LPCWSTR title, LPCWSTR tip, IUIX_Icon* icon, LONG width,
                                 DWORD style) = 0;
    // Changes what `what` names (UIX_ListColumnMask); of the style the bits of `style_mask`. E_INVALIDARG
    // outside.
    virtual HRESULT SetColumn(LONG index, DWORD what, LPCWSTR title, LPCWSTR tip, IUIX_Icon* icon, LONG width,
                              DWORD style, DWORD style_mask, DWORD reserved) = 0;
    virtual HRESULT GetColumnStyle(LONG index, DWORD* out_style) = 0;
    virtual HRESULT get_ItemsCount(UINT* out_count) = 0;
    virtual HRESULT InsertItem(LONG index, PARAM_T parameter, DWORD flags) = 0;  // -1 is the end
    virtual HRESULT DeleteAllItems() = 0;
    // Draws the rows anew, `last` among them; a last one of -1 means to the end.
    virtual HRESULT RedrawItems(LONG first, LONG last) = 0;
    // The first selected row at or behind `start`; S_FALSE and -1: none.
    virtual HRESULT GetNextSelected(LONG start, LONG* out_index) = 0;
    virtual HRESULT SelectItem(LONG index, VARIANT_BOOL select) = 0;  // index -1: all of them
    // A text in the place of the rows, with a button where its caption is not null. A null text ends it.
    virtual HRESULT SetNotice(LPCWSTR text, LPCWSTR button) = 0;
};

// A list of properties: one row each, with an editor by kind.
struct IUIX_PropList : IUnknown {
    static constexpr IID kIid{0x47EC8A95, 0xB31D, 0x4260, {0x9F, 0x0E, 0xD8, 0x54, 0x7C, 0xA1, 0x36, 0xEB}};
    virtual HRESULT put_Host(IUIX_PropHost* host) = 0;  // null before it goes
};

enum UIX_PropKind : DWORD {
    UIX_Prop_None = 0,  // shown without an editor
    UIX_Prop_Bool = 1,
    UIX_Prop_String = 2,
    UIX_Prop_Number = 5,
    UIX_Prop_Choice = 7,
    UIX_Prop_Date = 8,
};

enum UIX_PropFlags : DWORD { UIX_Prop_MultiLine = 1024, UIX_Prop_ShowTime = 0x100000 };

// One row's description. What it does not have is zero with S_FALSE.
struct IUIX_PropInfo : IUnknown {
    static constexpr IID kIid{0x9B02D8E1, 0x75AC, 0x4DF4, {0xA6, 0x83, 0x14, 0xEB, 0x50, 0x3F, 0xC9, 0x7D}};
    virtual HRESULT get_Index(UINT* out_index) = 0;
    virtual HRESULT get_Kind(DWORD* out_kind) = 0;
    virtual HRESULT get_Flags(DWORD* out_flags) = 0;
    virtual HRESULT get_Title(BSTR* out_title) = 0;
    virtual HRESULT get_Description(BSTR* out_description) = 0;
    virtual HRESULT get_Icon(IUIX_Icon** out_icon) = 0;
    virtual HRESULT get_ChoicesCount(UINT* out_count) = 0;
    virtual HRESULT GetChoice(UINT index, BSTR* out_text,
                              PARAM_T* out_parameter) = 0;  // S_FALSE: no parameter
    virtual HRESULT get_MaxLength(UINT* out_length) = 0;    // in UTF-16 units; 0: any
    // S_FALSE: any number will do.
    virtual HRESULT GetRange(double* out_minimum, double* out_maximum, LONG* out_digits, LONG* out_step,
                             LONG* out_reserved1, LONG* out_reserved2, LONG* out_reserved3) = 0;
};

struct IUIX_PropHost : IUnknown {
    static constexpr IID kIid{0x2DA761F3, 0xE894, 0x4B5C, {0x8D, 0x2E, 0xA7, 0x60, 0x1B, 0xF5, 0x4C, 0x38}};
    virtual HRESULT get_Count(UINT* out_count) = 0;
    virtual HRESULT PositionToIndex(UINT position, UINT* out_index) = 0;
    virtual HRESULT GetInfo(UINT index, IUIX_PropInfo** out_info) = 0;
    // By kind: VT_BOOL, VT_BSTR, VT_R8 (a number, which may be VT_I4 or VT_I8 as well; a date as an
    // automation date, 0 while there is none), VT_I4 (a choice; VT_BSTR where no choices are known, both
    // ways). VT_EMPTY: no value.
    virtual HRESULT GetValue(UINT index, VARIANT* out_value) = 0;
    virtual HRESULT SetValue(UINT index, const VARIANT* value) = 0;  // a number is VT_R8, a date VT_DATE
};

// Who answers for the button of a dialog's settings.
struct IUIX_SettingsCallbacks : IUnknown {
    static constexpr IID kIid{0xBE5037C9, 0x1AF6, 0x47D2, {0x94, 0xB8, 0x6C, 0x0D, 0xE3, 0x8F, 0x75, 0xA1}};
    virtual HRESULT OnSettings(IUIX_Obj* dialog) = 0;
};

}  // namespace TMK
