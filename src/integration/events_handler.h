// The plug-in's presence in the editor's window: its commands, their places, and what it shows of each
// document. Made and driven by Plugin; main thread only, but for UpdateCommandItems.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/scaffolding.h"
#include "hostapi/itmk.h"

class File;
class PluginContext;
struct document_objects;

namespace Ui {
class OpenSaveDialogs;
}

enum class EditState : int32_t { enable, disable, auto_detect };

class EventsHandler final : public cCoClassUnknownT<EventsHandler, TMK::IEventHandler>,
                            public TMK::IUIX_CmdHandler {
    using Base = cCoClassUnknownT<EventsHandler, TMK::IEventHandler>;

public:
    // The context outlives the handler, or Shutdown comes first.
    explicit EventsHandler(PluginContext& plugin);
    ~EventsHandler() override;

    HRESULT QueryInterface(const IID& iid, void** out) override { return Base::QueryInterface(iid, out); }
    ULONG AddRef() override { return Base::AddRef(); }
    ULONG Release() override { return Base::Release(); }
    void* QueryFurther(const IID& iid);

    // The dialogs that file systems show; any thread.
    const std::shared_ptr<Ui::OpenSaveDialogs>& GetOpenSaveDialogs() const { return m_open_save_dialog; }

    HRESULT Init();
    void Shutdown();

    HRESULT OnEvent(DWORD event_id, IUnknown* reserved, IUnknown* event_source) override;
    HRESULT OnGetItemState(TMK::IUIX_Cmd* command, IUnknown* owner, LONG* out_state) override;
    HRESULT OnNotify(LONG type, TMK::IUIX_Cmd* command, IUnknown* owner) override;

    // The state of a file changed; what the editor shows of it follows soon. Any thread; waits for the main
    // thread.
    void UpdateCommandItems(File* file);
    void OnUpdateCommandItemsTimer();

    // S_FALSE for a document that is none of this plug-in's.
    HRESULT SetDocumentEditState(TMK::ITMK_Document* i_document, EditState state);
    HRESULT GetDocumentEditState(TMK::ITMK_Document* i_document, bool& is_document_is_edit_state);
    HRESULT UpdateInfoBar(TMK::ITMK_Document* i_document);

private:
    class TimerUpdateUi;

    enum Row : size_t {
        share_point,
        check_out,
        check_in,
        discard,
        enable_editing,
        file_properties,
        row_count
    };
    struct menu_item {
        DWORD id;
        const char16_t* string_id;
        const char16_t* tip;
        const char16_t* failure_id;  // null for none
        HRESULT (EventsHandler::*on_state)(IUnknown* owner, LONG& out_state);
        HRESULT (EventsHandler::*on_action)(IUnknown* owner);
        DWORD style;
    };
    static constexpr Row kSeparator = row_count;

    HRESULT CreateCommands();
    HRESULT CreateCommand(TMK::IUIX_Cmds& commands, TMK::IUIX_Theme* theme, menu_item& row);
    HRESULT CreateAtoms();
    HRESULT Subscribe();
    void DropCommands();
    HRESULT GetManager(ComPtr<TMK::IUIX_CmdManager>& out_manager) const;
    HRESULT GetCommands(ComPtr<TMK::IUIX_Cmds>& out_commands) const;
    menu_item* FindRow(TMK::IUIX_Cmd& command);

    HRESULT IntegrateToEditorUI(TMK::ITMK_View* view);
    HRESULT AddToRibbon(TMK::IUIX_Ribbon& ribbon);
    HRESULT AddToShareTab(TMK::IUIX_RibbonTab& tab);
    HRESULT AddToShareGroup(TMK::IUIX_CmdBar& group);
    HRESULT AddToMenus(TMK::ITMK_View& view);
    HRESULT Fill(TMK::IUIX_CmdBar& bar, const std::vector<Row>& items);
    HRESULT InsertCommand(TMK::IUIX_CmdBar& bar, Row row, LONG index);

    HRESULT CustomizePropDialog(TMK::IUIX_PropSheets* sheets);
    HRESULT UpdateInfoBars();
    template <typename Work>
    HRESULT ForEachDocument(Work&& work);

    // S_FALSE with a trace when no document of this plug-in is in front.
    HRESULT FindActiveFile(IUnknown* owner, document_objects& out_objects);
    // Enables the command where the active document is one of these.
    HRESULT EnableFor(bool (*is_one)(const File& file), IUnknown* owner, LONG& out_state);
    HRESULT SharePointState(IUnknown* owner, LONG& out_state);
    HRESULT CheckOutState(IUnknown* owner, LONG& out_state);
    HRESULT CheckInState(IUnknown* owner, LONG& out_state);
    HRESULT DiscardCheckOutState(IUnknown* owner, LONG& out_state);
    HRESULT EnableEditingState(IUnknown* owner, LONG& out_state);
    HRESULT FilePropertiesState(IUnknown* owner, LONG& out_state);
    HRESULT CheckOut(IUnknown* owner);
    HRESULT CheckIn(IUnknown* owner);
    HRESULT DiscardCheckOut(IUnknown* owner);
    HRESULT EnableEditing(IUnknown* owner);
    HRESULT FileProperties(IUnknown* owner);
    bool SaveForCheckIn(TMK::ITMK_Document& document);
    HRESULT RunAction(const menu_item& row, IUnknown* owner, std::u16string& out_message);
    void ShowFailure(const menu_item& row, IUnknown* owner, HRESULT result, const std::u16string& message);

    HRESULT AwaitRefresh(uintptr_t file);
    HRESULT RefreshDocument(TMK::ITMK_Document* document);

    bool DetectAllowEditing(File& file) const;
    HRESULT FillSpan(const document_objects& objects, TMK::IUIX_InfoBarSpan& span,
                     TMK::IUIX_InfoBar& info_bar, bool editing);

    PluginContext* m_plugin;  // the owner, not counted; null after Shutdown
    const ComPtr<TMK::ITMK_Inst> m_inst;
    const std::shared_ptr<Ui::OpenSaveDialogs> m_open_save_dialog;
    std::array<menu_item, row_count> m_commands;
    ComPtr<TimerUpdateUi> m_timer;
    // The files whose state has changed. They are only compared, so they may be gone by now.
    std::vector<uintptr_t> m_waiting_files;

    DWORD m_customize_cmd_layout = 0;
    DWORD m_document_initialized = 0;
    DWORD m_document_viewing_started = 0;
    DWORD m_document_source_changed = 0;
    DWORD m_ui_language_changed = 0;
    DWORD m_customize_prop_dialog = 0;
    DWORD m_begin_prop_dialog = 0;  // made, and not subscribed to

    DWORD m_menubar = 0;
    DWORD m_share_tab = 0;
    DWORD m_main_view = 0;
    DWORD m_window_menu = 0;
    DWORD m_file_menu = 0;
    DWORD m_open_from = 0;
    DWORD m_save_to = 0;
    DWORD m_share_group = 0;
    DWORD m_ribbon_bar = 0;
};
