// The host's commands and where people meet them: command bars, menus, ribbon tabs and groups, information
// bars. Main thread only. "$$$." in front of a text makes it the id of a localised one.
#pragma once

#include "hostapi/common.h"

namespace TMK {

struct IUIX_CmdBar;
struct IUIX_Icon;
struct IUIX_Obj;

struct IUIX_Cmd : IUnknown {
    static constexpr IID kIid{0x5D6F21C4, 0x1B0A, 0x4E67, {0x9D, 0x3C, 0x84, 0xF2, 0x07, 0xA6, 0x5B, 0x11}};
    virtual HRESULT get_ID(DWORD* out_id) = 0;       // the atom of the name
    virtual HRESULT get_Name(BSTR* out_name) = 0;    // such as "cmd.file"
    virtual HRESULT get_Title(BSTR* out_title) = 0;  // as it was put, with "&" before the mnemonic
    virtual HRESULT put_Title(LPCWSTR title) = 0;
    virtual HRESULT get_Tip(BSTR* out_tip) = 0;
    virtual HRESULT put_Tip(LPCWSTR tip) = 0;
    virtual HRESULT put_NewItemStyle(DWORD style) = 0;  // of the items that are made of it from now on
    virtual HRESULT put_Category(LPCWSTR title) = 0;    // where people find it when they customise
    virtual HRESULT put_Icon(IUIX_Icon* icon) = 0;      // null for none
    virtual HRESULT put_SubMenu(IUIX_CmdBar* menu) = 0;
};

enum UIX_CmdItemState : LONG {
    UIX_CmdItemState_Enabled = 0,
    UIX_CmdItemState_Checked = 1,  // a flag beside the others
    UIX_CmdItemState_Disabled = 2,
};

enum UIX_CmdItemStyle : DWORD {
    UIX_CmdItemStyle_Text = 1,
    UIX_CmdItemStyle_SubMenu = 512,
};

enum UIX_CmdNotify : LONG { UIX_CmdNotify_Exec = 1 };

// What the maker of a command implements. `owner` is the object that shows the item, such as a view; null for
// none.
struct IUIX_CmdHandler : IUnknown {
    static constexpr IID kIid{0x0E9C6BD3, 0x42F8, 0x4B1D, {0x8A, 0x70, 0x3D, 0xC5, 0x91, 0x2F, 0xE6, 0x48}};
    // `out_state` holds UIX_CmdItemState flags; left alone, the item keeps the state that it had.
    virtual HRESULT OnGetItemState(IUIX_Cmd* command, IUnknown* owner, LONG* out_state) = 0;
    virtual HRESULT OnNotify(LONG type, IUIX_Cmd* command, IUnknown* owner) = 0;
};

struct IUIX_Cmds : IUnknown {
    static constexpr IID kIid{0xB7142F9E, 0x65D0, 0x4AC3, {0xB2, 0x18, 0x59, 0x0E, 0xF4, 0x6D, 0xA3, 0x77}};
    virtual HRESULT get_Count(UINT* out_count) = 0;
    virtual HRESULT get_Item(UINT index, IUIX_Cmd** out_command) = 0;  // E_INVALIDARG outside
    virtual HRESULT Find(DWORD id, IUIX_Cmd** out_command) = 0;        // S_FALSE and null: none
    // E_FAIL when there is one of that name. The handler is held until the command is deleted.
    virtual HRESULT AddNew(LPCWSTR name, IUnknown* reserved, IUIX_CmdHandler* handler,
                           IUIX_Cmd** out_command) = 0;
    // Takes it out of every bar too; S_FALSE when there is none.
    virtual HRESULT Delete(DWORD id) = 0;
};

// A row of commands and separators: a tool bar, a menu, a group of the ribbon.
struct IUIX_CmdBar : IUnknown {
    static constexpr IID kIid{0x93A0D5E7, 0xC86B, 0x4F24, {0xA9, 0x51, 0x16, 0xB3, 0x7E, 0x40, 0xD8, 0x2C}};
    virtual HRESULT get_ID(DWORD* out_id) = 0;  // 0 for none
    virtual HRESULT get_Title(BSTR* out_title) = 0;
    virtual HRESULT get_Count(UINT* out_count) = 0;
    // Null for a separator. E_INVALIDARG outside.
    virtual HRESULT get_Command(UINT index, IUIX_Cmd** out_command) = 0;
    // S_FALSE and -1 when the command is not in it.
    virtual HRESULT FindItem(DWORD command_id, LONG* out_index) = 0;
    // Before the item at `index`; -1 is the end. Without a style the command's own holds. `out_item` may be
    // null, and gets null where items are no objects.
    virtual HRESULT FlatInsertItem(IUIX_Cmd* command, LONG index, DWORD flags, DWORD style,
                                   IUnknown** out_item) = 0;
    virtual HRESULT FlatInsertSeparator(LONG index, DWORD flags, IUnknown** out_item) = 0;
    virtual HRESULT RemoveItem(UINT index) = 0;
};

struct IUIX_RibbonTab : IUnknown {
    static constexpr IID kIid{0xE2386CF1, 0x0D7A, 0x4598, {0x97, 0xE4, 0xC0, 0x6B, 0x35, 0x1A, 0x82, 0xDF}};
    virtual HRESULT get_ID(DWORD* out_id) = 0;
    virtual HRESULT AddBar(IUIX_CmdBar* bar) = 0;  // a group of its own at the end
};

struct IUIX_Ribbon : IUnknown {
    static constexpr IID kIid{0x4C7BE902, 0xA61F, 0x4D83, {0x86, 0x0B, 0xF9, 0x24, 0x7D, 0x53, 0x1E, 0xC6}};
    virtual HRESULT FindTab(DWORD id, IUIX_RibbonTab** out_tab) = 0;  // S_FALSE and null: none
    virtual HRESULT FindGroup(DWORD id, IUIX_CmdBar** out_bar) = 0;   // S_FALSE and null: none
};

enum UIX_UpdateCmdItems : DWORD { UIX_UpdateCmdItems_State = 1 };

struct IUIX_CmdManager : IUnknown {
    static constexpr IID kIid{0x71F5A8B0, 0x3E92, 0x4C16, {0xBD, 0x2A, 0x48, 0xE7, 0x90, 0xC1, 0x6F, 0x35}};
    virtual HRESULT get_Cmds(IUIX_Cmds** out_commands) = 0;
    // A bar or menu that is shown nowhere yet. `name` may be null.
    virtual HRESULT NewBar(LPCWSTR name, LPCWSTR title, IUIX_CmdBar** out_bar) = 0;
    // Asks the handlers again for the states of one command, or of all for 0, before the window is next idle.
    virtual HRESULT UpdateCmdItems(DWORD what, DWORD id) = 0;
};

// A strip at the top of a document's window: one text, and a button for each command.
struct IUIX_InfoBarSpan : IUnknown {
    static constexpr IID kIid{0x2AE14D9B, 0x5870, 0x4B36, {0x90, 0xCF, 0x73, 0x08, 0xDE, 0x65, 0x4B, 0xF2}};
    virtual HRESULT put_Text(LPCWSTR text) = 0;
    virtual HRESULT ClearButtons() = 0;
    // -1 is the end; E_INVALIDARG when there is no such command.
    virtual HRESULT InsertCmdButton(LONG index, DWORD command_id) = 0;
};

struct IUIX_InfoBar : IUnknown {
    static constexpr IID kIid{0xC8503FE6, 0x914D, 0x4072, {0xAE, 0x95, 0x2B, 0xF6, 0x1C, 0xD4, 0x07, 0x8A}};
    // `type_id` is the atom of a registered type. S_FALSE and null: not there.
    virtual HRESULT FindSpan(DWORD type_id, IUIX_InfoBarSpan** out_span) = 0;
    virtual HRESULT AddSpan(DWORD type_id, IUIX_InfoBarSpan** out_span) = 0;  // E_INVALIDARG: no such type
    virtual HRESULT RemoveSpan(DWORD type_id) = 0;                            // S_FALSE: not there
};

// A row of the pane of command bars along the edge of a window.
struct IUIX_CmdPane : IUnknown {
    static constexpr IID kIid{0x1FD97B24, 0xE05C, 0x43A8, {0x8D, 0x66, 0xA4, 0x5F, 0x32, 0x9B, 0xC7, 0x0E}};
    virtual HRESULT get_Obj(IUIX_Obj** out_object) = 0;
    virtual HRESULT InsertBar(IUIX_CmdBar* bar, LONG row, LONG position, VARIANT_BOOL visible) = 0;
};

// A window that has room for panes around its content.
struct IUIX_ScrollContainer : IUnknown {
    static constexpr IID kIid{0x80B62ACD, 0x7F31, 0x4E59, {0x92, 0x07, 0xD8, 0x14, 0xAB, 0x6E, 0xF5, 0x93}};
    virtual HRESULT get_CmdPaneTop(IUIX_CmdPane** out_pane) = 0;
};

enum UIX_CmdBarStyle : DWORD {
    UIX_CmdBarStyle_NoGripper = 0x100,
    UIX_CmdBarStyle_NoFloat = 0x200,
    UIX_CmdBarStyle_NoToggleBtn = 0x400,
};

enum UIX_CmdPaneStyle : DWORD {
    UIX_CmdPaneStyle_Docked = 0x200,
    UIX_CmdPaneStyle_LinesNoToggle = 0x1000,
    UIX_CmdPaneStyle_NoToggleBtn = 0x20000,
};

}  // namespace TMK
