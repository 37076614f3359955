// The commands: how they are made, when they can be used, and what a click does.
#include "base/failure.h"
#include "base/failure_text.h"
#include "base/plugin_context.h"
#include "dialogs/message_box.h"
#include "integration/document_objects.h"
#include "integration/events_handler.h"

namespace {

// No step after a save, while it lives.
class SuppressAfterSave {
public:
    explicit SuppressAfterSave(File& file) : m_file(file) { m_file.SetSuppressAfterSave(true); }
    ~SuppressAfterSave() { m_file.SetSuppressAfterSave(false); }
    SuppressAfterSave(const SuppressAfterSave&) = delete;
    SuppressAfterSave& operator=(const SuppressAfterSave&) = delete;

private:
    File& m_file;
};

// The host resolves ids that begin so.
std::u16string ToHostId(const char16_t* text_id) {
    return std::u16string(u"$$$.") + text_id;
}

File::CheckOutState StateOf(const File& file) {
    File::CheckOutState state{};
    file.GetCheckedOutState(state, nullptr);
    return state;
}

std::u16string TitleOf(const document_objects& objects) {
    const auto object = objects.name ? objects.name->GetObject() : nullptr;
    return object ? object->GetInformation().m_name : std::u16string();
}

// Null for an owner that has none.
HWND WindowOf(IUnknown* owner) {
    const ComPtr<IUnknown> held(owner);
    const auto object = held ? held.as<TMK::IUIX_Obj>() : ComPtr<TMK::IUIX_Obj>();
    HWND window = nullptr;
    if (object) object->GetFirstHWND(&window);
    return window;
}

template <File::CheckOutState kState>
bool IsIn(const File& file) {
    return StateOf(file) == kState;
}

}  // namespace

HRESULT EventsHandler::GetManager(ComPtr<TMK::IUIX_CmdManager>& out_manager) const {
    TRACE_NAME("EventsHandler::GetManager");
    CHECK_RETURN(m_plugin != nullptr && m_plugin->m_uix_inst != nullptr, E_UNEXPECTED);
    CHECK_RESULT_TEXT(m_plugin->m_uix_inst->get_CmdManager(out_manager.put()),
                      u"m_plugin->m_uix_inst->get_CmdManager(&manager)");
    CHECK_RETURN(out_manager != nullptr, E_FAIL);
    return S_OK;
}

HRESULT EventsHandler::GetCommands(ComPtr<TMK::IUIX_Cmds>& out_commands) const {
    TRACE_NAME("EventsHandler::GetCommands");
    ComPtr<TMK::IUIX_CmdManager> manager;
    CHECK_RESULT(GetManager(manager));
    CHECK_RESULT_TEXT(manager->get_Cmds(out_commands.put()), u"manager->get_Cmds(&commands)");
    CHECK_RETURN(out_commands != nullptr, E_FAIL);
    return S_OK;
}

HRESULT EventsHandler::CreateCommands() {
    TRACE_ENTRY("EventsHandler::CreateCommands");
    ComPtr<TMK::IUIX_Cmds> commands;
    CHECK_RESULT(GetCommands(commands));
    ComPtr<TMK::IUIX_Theme> theme;
    CHECK_RESULT_TEXT(m_plugin->m_uix_inst->get_Theme(theme.put()),
                      u"m_plugin->m_uix_inst->get_Theme(&theme)");
    for (menu_item& row : m_commands) CHECK_RESULT(CreateCommand(*commands, theme.get(), row));
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::CreateCommand(TMK::IUIX_Cmds& commands, TMK::IUIX_Theme* theme, menu_item& row) {
    TRACE_NAME("EventsHandler::CreateCommands");
    LOG_LINE(Log::verbose, u"Adding command '%s'", row.string_id);
    DWORD id = 0;
    CHECK_RESULT(m_inst->Str2ID(row.string_id, VARIANT_TRUE, &id));
    ComPtr<TMK::IUIX_Cmd> command;
    if (SUCCEEDED(commands.Find(id, command.put())) && command) {
        LOG_LINE(Log::warning, u"Command already exists");
        commands.Delete(id);
    }
    CHECK_RESULT_TEXT(commands.AddNew(row.string_id, nullptr, this, command.put()),
                      u"commands->AddNew(string_id, nullptr, this, &command)");
    CHECK_RETURN(command != nullptr, E_FAIL);
    CHECK_RESULT(command->get_ID(&row.id));
    CHECK_RESULT(command->put_Title(ToHostId(row.string_id).c_str()));
    CHECK_RESULT(command->put_Tip(ToHostId(row.tip).c_str()));
    CHECK_RESULT(command->put_NewItemStyle(row.style));
    CHECK_RESULT(command->put_Category(u"$$$.sp.cmd.cmdsCategory"));
    ComPtr<TMK::IUIX_Icon> icon;
    if (theme && SUCCEEDED(theme->GetIcon(row.string_id, icon.put())) && icon)
        CHECK_RESULT(command->put_Icon(icon.get()));
    return S_OK;
}

// The host holds the handler by its commands.
void EventsHandler::DropCommands() {
    ComPtr<TMK::IUIX_Cmds> commands;
    if (FAILED(GetCommands(commands))) return;
    for (menu_item& row : m_commands) {
        if (const DWORD id = std::exchange(row.id, 0)) commands->Delete(id);
    }
}

EventsHandler::menu_item* EventsHandler::FindRow(TMK::IUIX_Cmd& command) {
    DWORD id = 0;
    if (FAILED(command.get_ID(&id)) || id == 0) return nullptr;
    for (menu_item& row : m_commands) {
        if (row.id == id) return &row;
    }
    return nullptr;
}

HRESULT EventsHandler::OnGetItemState(TMK::IUIX_Cmd* command, IUnknown* owner, LONG* out_state) {
    TRACE_ENTRY("EventsHandler::OnGetItemState");
    try {
        CHECK_RETURN(command != nullptr, E_INVALIDARG);
        CHECK_RETURN(out_state != nullptr, E_INVALIDARG);
        *out_state = TMK::UIX_CmdItemState_Disabled;
        const menu_item* const row = FindRow(*command);
        if (row && row->on_state) CHECK_RESULT((this->*row->on_state)(owner, *out_state));
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT EventsHandler::OnNotify(LONG type, TMK::IUIX_Cmd* command, IUnknown* owner) {
    TRACE_ENTRY("EventsHandler::OnNotify");
    try {
        CHECK_RETURN(command != nullptr, E_INVALIDARG);
        if (type != TMK::UIX_CmdNotify_Exec) TRACE_RETURN(E_NOTIMPL);
        const menu_item* const row = FindRow(*command);
        if (!row || !row->on_action) TRACE_RETURN(S_OK);
        std::u16string message;
        const HRESULT result = RunAction(*row, owner, message);
        if (FAILED(result)) ShowFailure(*row, owner, result, message);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT EventsHandler::RunAction(const menu_item& row, IUnknown* owner, std::u16string& out_message) {
    TRACE_NAME("EventsHandler::OnNotify");
    try {
        return (this->*row.on_action)(owner);
    } catch (...) {
        const auto text = MakeObject<FailureText>();
        const HRESULT result = FailureToResult(trace_function, text.get());
        out_message = text->m_text;
        return result;
    }
}

void EventsHandler::ShowFailure(const menu_item& row, IUnknown* owner, HRESULT result,
                                const std::u16string& message) {
    VARIANT_BOOL canceled = VARIANT_FALSE;
    if (SUCCEEDED(m_inst->IsUserCancel(result, &canceled)) && canceled != VARIANT_FALSE) return;
    Ui::PromptText text{{}, message};
    if (message.empty() && row.failure_id) {
        document_objects objects;
        GetActiveDocumentObjects(m_plugin, owner, objects);
        text = Ui::FormatPrompt(m_inst.get(), row.failure_id, TitleOf(objects));
    } else if (message.empty()) {
        text.text = GetResultText(result);
    }
    Ui::ShowMessageBox(m_inst.get(), Ui::kStyleWarning, text, {});
}

HRESULT EventsHandler::FindActiveFile(IUnknown* owner, document_objects& out_objects) {
    TRACE_NAME("EventsHandler::FindActiveFile");
    CHECK_RETURN(m_plugin != nullptr, E_UNEXPECTED);
    CHECK_RESULT(GetActiveDocumentObjects(m_plugin, owner, out_objects));
    if (out_objects.file) return S_OK;
    LOG_LINE(Log::verbose, u"not SharePoint document");
    return S_FALSE;
}

HRESULT EventsHandler::SharePointState(IUnknown*, LONG& out_state) {
    TRACE_ENTRY("EventsHandler::SharePointState");
    out_state = TMK::UIX_CmdItemState_Enabled;
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::EnableFor(bool (*is_one)(const File& file), IUnknown* owner, LONG& out_state) {
    document_objects objects;
    if (const HRESULT found = FindActiveFile(owner, objects); found != S_OK) return found;
    if (is_one(*objects.file)) out_state = TMK::UIX_CmdItemState_Enabled;
    return S_OK;
}

HRESULT EventsHandler::CheckOutState(IUnknown* owner, LONG& out_state) {
    TRACE_ENTRY("EventsHandler::CheckOutState");
    if (const HRESULT found = EnableFor(IsIn<File::CheckOutState::none>, owner, out_state); found != S_OK)
        return found;
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::CheckInState(IUnknown* owner, LONG& out_state) {
    TRACE_ENTRY("EventsHandler::CheckInState");
    if (const HRESULT found = EnableFor(IsIn<File::CheckOutState::me>, owner, out_state); found != S_OK)
        return found;
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::DiscardCheckOutState(IUnknown* owner, LONG& out_state) {
    TRACE_ENTRY("EventsHandler::DiscardCheckOutState");
    LOG_LINE(Log::verbose, u"setting same state as for CheckIn");
    return CheckInState(owner, out_state);
}

HRESULT EventsHandler::EnableEditingState(IUnknown* owner, LONG& out_state) {
    TRACE_ENTRY("EventsHandler::EnableEditingState");
    document_objects objects;
    if (const HRESULT found = FindActiveFile(owner, objects); found != S_OK) return found;
    bool editing = false;
    CHECK_RESULT(GetDocumentEditState(objects.document.get(), editing));
    if (!editing) out_state = TMK::UIX_CmdItemState_Enabled;
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::FilePropertiesState(IUnknown* owner, LONG& out_state) {
    TRACE_ENTRY("EventsHandler::FilePropertiesState");
    document_objects objects;
    if (const HRESULT found = FindActiveFile(owner, objects); found != S_OK) return found;
    out_state = TMK::UIX_CmdItemState_Enabled;
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::CheckOut(IUnknown* owner) {
    TRACE_ENTRY("EventsHandler::CheckOut");
    document_objects objects;
    if (const HRESULT found = FindActiveFile(owner, objects); found != S_OK) return found;
    LOG_LINE(Log::verbose, u"check out from UI");
    objects.file->CheckOut(true);
    TRACE_RETURN(S_OK);
}

// Saves first, so that the one question is the one about the check-in.
HRESULT EventsHandler::CheckIn(IUnknown* owner) {
    TRACE_ENTRY("EventsHandler::CheckIn");
    document_objects objects;
    if (const HRESULT found = FindActiveFile(owner, objects); found != S_OK) return found;
    LOG_LINE(Log::verbose, u"check in from UI");
    const SuppressAfterSave suppressed(*objects.file);
    if (!SaveForCheckIn(*objects.document)) TRACE_RETURN(S_FALSE);
    objects.file->CheckInWithUi(false, nullptr);
    TRACE_RETURN(S_OK);
}

bool EventsHandler::SaveForCheckIn(TMK::ITMK_Document& document) {
    TRACE_NAME("EventsHandler::CheckIn");
    VARIANT_BOOL modified = VARIANT_FALSE;
    CHECK_RESULT_THROW(document.get_Modified(&modified));
    if (modified == VARIANT_FALSE) return true;
    ComPtr<TMK::ITMK_ProgressMon> progress;
    m_inst->get_ProgressMon(progress.put());
    LOG_LINE(Log::verbose, u"saving document");
    const HRESULT result =
        m_inst->SaveDocument(&document, nullptr, TMK::TMK_SaveMode_InPlace, progress.get());
    if (FAILED(result)) LOG_LINE(Log::error, u"failed to save document");
    return SUCCEEDED(result);
}

HRESULT EventsHandler::DiscardCheckOut(IUnknown* owner) {
    TRACE_ENTRY("EventsHandler::DiscardCheckOut");
    document_objects objects;
    if (const HRESULT found = FindActiveFile(owner, objects); found != S_OK) return found;
    LOG_LINE(Log::verbose, u"discard check out from UI");
    objects.file->DiscardCheckOut();
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::EnableEditing(IUnknown* owner) {
    TRACE_ENTRY("EventsHandler::EnableEditing");
    document_objects objects;
    if (const HRESULT found = FindActiveFile(owner, objects); found != S_OK) return found;
    LOG_LINE(Log::verbose, u"enable editing from UI");
    return SetDocumentEditState(objects.document.get(), EditState::enable);
}

HRESULT EventsHandler::FileProperties(IUnknown* owner) {
    TRACE_ENTRY("EventsHandler::FileProperties");
    document_objects objects;
    if (const HRESULT found = FindActiveFile(owner, objects); found != S_OK) return found;
    // docs/compatibility.md: The log calls Properties a check-out
    LOG_LINE(Log::verbose, u"check out from UI");
    SharePoint::FieldsData fields;
    const auto tell = [&](const char16_t* text_id) {
        Ui::ShowMessageBox(m_inst.get(), Ui::kStyleInformation,
                           Ui::FormatPrompt(m_inst.get(), text_id, TitleOf(objects)), {u"btn.ok"});
        return S_OK;
    };
    try {
        fields = objects.file->LoadFields();
    } catch (...) {
        FailureToResult(trace_function, nullptr);
        return tell(u"sp.msg.PropertiesAreNotSupported");
    }
    if (fields.fields.empty()) return tell(u"sp.msg.dontHaveSupportedProperties");
    const HRESULT result = objects.file->EditFields(WindowOf(owner), fields);
    if (FAILED(result) && result != E_CANCELED)
        LOG_LINE(Log::error, u"FilePropertiesDialog::Show()=(HRESULT)%d", result);
    TRACE_RETURN(S_OK);
}
