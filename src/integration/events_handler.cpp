// The life cycle, the events, and the refresh after a change of a file's state.
#include "integration/events_handler.h"

#include <algorithm>
#include <utility>

#include "base/failure.h"
#include "base/main_thread.h"
#include "base/plugin_context.h"
#include "base/text/ignore_case.h"
#include "browse/open_save_dialog.h"
#include "integration/for_each_document.h"
#include "integration/timer_update_ui.h"
#include "preferences/preferences_page.h"

EventsHandler::EventsHandler(PluginContext& plugin)
    : m_plugin(&plugin),
      m_inst(plugin.m_tmk_inst),
      m_open_save_dialog(std::make_shared<Ui::OpenSaveDialog>(plugin.m_tmk_inst.get())),
      m_commands{{
          {0, u"sp.cmd.share_point", u"sp.cmd.share_point.tip", nullptr, &EventsHandler::SharePointState,
           nullptr, TMK::UIX_CmdItemStyle_Text | TMK::UIX_CmdItemStyle_SubMenu},
          {0, u"sp.cmd.checkOut", u"sp.cmd.checkOut.tip", u"sp.msg.checkOutFailed",
           &EventsHandler::CheckOutState, &EventsHandler::CheckOut, 0},
          {0, u"sp.cmd.checkIn", u"sp.cmd.checkIn.tip", u"sp.msg.checkInFailed", &EventsHandler::CheckInState,
           &EventsHandler::CheckIn, 0},
          {0, u"sp.cmd.discardCheckOut", u"sp.cmd.discardCheckOut.tip", u"sp.msg.discardCheckOutFailed",
           &EventsHandler::DiscardCheckOutState, &EventsHandler::DiscardCheckOut, 0},
          {0, u"sp.cmd.enableEditing", u"sp.cmd.enableEditing.tip", nullptr,
           &EventsHandler::EnableEditingState, &EventsHandler::EnableEditing, 0},
          {0, u"sp.cmd.fileProperties", u"sp.cmd.fileProperties.tip", nullptr,
           &EventsHandler::FilePropertiesState, &EventsHandler::FileProperties, 0},
      }} {}

EventsHandler::~EventsHandler() = default;

void* EventsHandler::QueryFurther(const IID& iid) {
    return iid == TMK::IUIX_CmdHandler::kIid ? static_cast<TMK::IUIX_CmdHandler*>(this) : nullptr;
}

HRESULT EventsHandler::Init() {
    TRACE_ENTRY("EventsHandler::Init");
    CHECK_RETURN(m_inst != nullptr, E_FAIL);
    m_timer = MakeObject<TimerUpdateUi>(*this);
    CHECK_RESULT(CreateCommands());
    CHECK_RESULT(CreateAtoms());
    CHECK_RESULT(Subscribe());
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::CreateAtoms() {
    TRACE_NAME("EventsHandler::Init");
    const std::pair<const char16_t*, DWORD*> names[] = {
        {u"e.customizeCmdLayout", &m_customize_cmd_layout},
        {u"e.document.initialized", &m_document_initialized},
        {u"e.document.viewingStarted", &m_document_viewing_started},
        {u"e.document.sourceChanged", &m_document_source_changed},
        {u"e.uiLanguageChanged", &m_ui_language_changed},
        {u"e.customizePropDialog", &m_customize_prop_dialog},
        {u"e.beginPropDialog", &m_begin_prop_dialog},
        {u"cmdbar.menubar", &m_menubar},
        {u"rtab.share", &m_share_tab},
        {u"mainView", &m_main_view},
        {u"cmd.window", &m_window_menu},
        {u"cmd.file", &m_file_menu},
        {u"cmd.openFrom", &m_open_from},
        {u"cmd.saveTo", &m_save_to},
        {u"cmd.shareGroup", &m_share_group},
        {u"sp.rbar.sharepoint", &m_ribbon_bar},
    };
    for (const auto& [name, id] : names) CHECK_RESULT(m_inst->Str2ID(name, VARIANT_TRUE, id));
    return S_OK;
}

HRESULT EventsHandler::Subscribe() {
    TRACE_NAME("EventsHandler::Init");
    ComPtr<TMK::ITMK_EventServer> events;
    CHECK_RESULT_TEXT(m_inst->get_EventServer(events.put()), u"m_inst->get_EventServer(&events)");
    CHECK_RETURN(events != nullptr, E_FAIL);
    for (const DWORD event : {m_customize_cmd_layout, m_document_initialized, m_document_viewing_started,
                              m_document_source_changed, m_ui_language_changed, m_customize_prop_dialog})
        CHECK_RESULT(events->Subscribe(event, this));
    return S_OK;
}

void EventsHandler::Shutdown() {
    TRACE_ENTRY("EventsHandler::Shutdown");
    const ComPtr<EventsHandler> alive(this);
    if (m_timer) {
        if (m_timer->m_id != 0) m_inst->StopTimer(m_timer->m_id);
        m_timer->Detach();
        m_timer.reset();
    }
    m_waiting_files.clear();
    ComPtr<TMK::ITMK_EventServer> events;
    if (m_inst && SUCCEEDED(m_inst->get_EventServer(events.put())) && events) {
        for (const DWORD event : {m_customize_cmd_layout, m_document_initialized, m_document_viewing_started,
                                  m_document_source_changed, m_ui_language_changed, m_customize_prop_dialog})
            events->Unsubscribe(event, this);
    }
    DropCommands();
    m_plugin = nullptr;
    TRACE_EXIT(u"");
}

HRESULT EventsHandler::OnEvent(DWORD event_id, IUnknown*, IUnknown* event_source) {
    TRACE_ENTRY("EventsHandler::OnEvent");
    try {
        CHECK_RETURN(event_source != nullptr, E_INVALIDARG);
        CHECK_RETURN(m_plugin != nullptr, E_UNEXPECTED);
        const ComPtr<IUnknown> source(event_source);
        if (event_id == m_customize_cmd_layout) {
            CHECK_RESULT(IntegrateToEditorUI(source.as<TMK::ITMK_View>().get()));
        } else if (event_id == m_document_initialized) {
            CHECK_RESULT(SetDocumentEditState(source.as<TMK::ITMK_Document>().get(), EditState::auto_detect));
        } else if (event_id == m_document_viewing_started || event_id == m_document_source_changed) {
            CHECK_RESULT(UpdateInfoBar(source.as<TMK::ITMK_Document>().get()));
        } else if (event_id == m_ui_language_changed) {
            CHECK_RESULT(UpdateInfoBars());
        } else if (event_id == m_customize_prop_dialog) {
            CHECK_RESULT(CustomizePropDialog(source.as<TMK::IUIX_PropSheets>().get()));
        }
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT EventsHandler::UpdateInfoBars() {
    return ForEachDocument([this](TMK::ITMK_Document* document) {
        TRACE_NAME("EventsHandler::OnEvent");
        document_objects objects;
        CHECK_RESULT(GetDocumentObjects(m_plugin, document, objects));
        return objects.file ? UpdateInfoBar(document) : S_FALSE;
    });
}

HRESULT EventsHandler::CustomizePropDialog(TMK::IUIX_PropSheets* sheets) {
    TRACE_NAME("EventsHandler::OnEvent");
    CHECK_RETURN(sheets != nullptr, E_FAIL);
    Bstr page_id;
    CHECK_RESULT_TEXT(sheets->get_ID(page_id.put()), u"sheets->get_ID(&page_id)");
    if (EqualIgnoringCase(page_id.str(), u"DlgAppPrefs")) {
        CHECK_RESULT_TEXT(sheets->InsertPage(Ui::CreatePreferencesPage(*m_plugin).get(),
                                             Ui::kPreferencesPageName, nullptr, 0),
                          u"sheets->InsertPage(page, L\"DlgAppPrefs.SharePoint.Name\", nullptr, 0)");
    } else {
        LOG_LINE(Log::verbose, u"Ignoring page ID '%s'", page_id.str());
    }
    return S_OK;
}

void EventsHandler::UpdateCommandItems(File* file) {
    TRACE_ENTRY("EventsHandler::UpdateCommandItems");
    const HRESULT result = CallOnMainThread(
        m_inst.get(), [self = ComPtr<EventsHandler>(this), waiting = reinterpret_cast<uintptr_t>(file)] {
            return self->AwaitRefresh(waiting);
        });
    LOG_LINE(Log::verbose, u"ThreadSafeCall::Call()=(HRESULT)%d", result);
    TRACE_EXIT(u"");
}

HRESULT EventsHandler::AwaitRefresh(uintptr_t file) {
    TRACE_NAME("EventsHandler::UpdateCommandItems");
    if (!m_timer) return S_FALSE;  // the plug-in is unloaded
    if (std::find(m_waiting_files.begin(), m_waiting_files.end(), file) == m_waiting_files.end())
        m_waiting_files.push_back(file);
    if (m_timer->m_id != 0) return S_OK;
    const HRESULT result = m_inst->StartTimer(m_timer.get(), 1, VARIANT_TRUE, &m_timer->m_id);
    LOG_LINE(Log::verbose, u"StartTimer()=(HRESULT)%d", result);
    return result;
}

void EventsHandler::OnUpdateCommandItemsTimer() {
    TRACE_ENTRY("EventsHandler::OnUpdateCommandItemsTimer");
    if (!m_timer) return;
    m_timer->m_id = 0;
    ComPtr<TMK::IUIX_CmdManager> manager;
    if (FAILED(GetManager(manager))) return;
    const auto update = [&](Row row, const char16_t* what) {
        const HRESULT result = manager->UpdateCmdItems(TMK::UIX_UpdateCmdItems_State, m_commands[row].id);
        LOG_LINE(Log::verbose, u"UpdateCmdItems(%s)=(HRESULT)%d", what, result);
    };
    update(check_out, u"check_out");
    update(check_in, u"check_in");
    update(discard, u"discard");
    update(enable_editing, u"enable_editing");
    const std::vector<uintptr_t> files = std::exchange(m_waiting_files, {});
    for (const uintptr_t file : files) {
        ForEachDocument([&](TMK::ITMK_Document* document) {
            document_objects objects;
            const HRESULT found = GetDocumentObjects(m_plugin, document, objects);
            if (FAILED(found) || reinterpret_cast<uintptr_t>(objects.file.get()) != file) return found;
            return RefreshDocument(document);
        });
    }
    TRACE_EXIT(u"");
}

// docs/compatibility.md: Enable Editing lasts until the next change of the state
HRESULT EventsHandler::RefreshDocument(TMK::ITMK_Document* document) {
    TRACE_NAME("EventsHandler::OnUpdateCommandItemsTimer");
    CHECK_RESULT(SetDocumentEditState(document, EditState::auto_detect));
    CHECK_RESULT(UpdateInfoBar(document));
    return S_OK;
}
