// The window: how it is made, filled, shown and closed, and who hears of what happens in it.
#include "browse/dialog.h"

#include "afs/names/enumeration.h"
#include "base/failure.h"
#include "base/resources.h"

using namespace TMK;

namespace Ui {
namespace {

constexpr LONGLONG kOk = 1;
constexpr LONGLONG kCancel = 2;
constexpr LONG kHide = 0;
constexpr LONG kShow = 8;

}  // namespace

Dialog::Dialog(ITMK_Inst* tmk_instance, FileSystem* file_system, DialogParameters& io_parameters,
               Wishes wishes)
    : m_tmk_instance(tmk_instance),
      m_file_system(file_system),
      m_parameters(&io_parameters),
      m_default_folder(std::move(wishes.default_folder)),
      m_preferences(std::move(wishes.preferences)),
      m_hidden_paths(m_preferences.hide_paths ? HiddenPaths(m_preferences.hidden_paths) : HiddenPaths()) {
    TRACE_NAME("Ui::Dialog::Dialog");
    CHECK_RESULT_THROW_TEXT(m_tmk_instance->GetExtension(u"UIX", reinterpret_cast<IUnknown**>(m_ui.put())),
                            u"m_tmk_instance->GetExtension(L\"UIX\", (IUnknown**)&m_ui)");
    CHECK_THROW(m_ui != nullptr, HResultException, E_FAIL);
    CHECK_RESULT_THROW_TEXT(NamesCollection::Create(m_files_to_open.put()),
                            u"NamesCollection::Create(m_files_to_open)");
    const auto can_change = [this](DWORD) {
        return m_navigator && !IsTaskRunning() && m_navigator->GetFolder();
    };
    m_command_parameters = {
        {.id = u"sp.cmd.createFolder",
         .title = u"$$$.sp.btn.addFolder.text",
         .icon_theme = u"ico.folder.add",
         .style = UIX_CmdItemStyle_Text,
         .action = [this](DWORD) { CreateFolder(); },
         .state = can_change},
        {.id = u"sp.cmd.delete",
         .title = u"$$$.sp.btn.delete.text",
         .icon_theme = u"ico.delete",
         .style = UIX_CmdItemStyle_Text,
         .action = [this](DWORD) { Delete(); },
         .state =
             [this, can_change](DWORD id) {
                 FolderItemsList::Names items;
                 return can_change(id) && m_list && SUCCEEDED(m_list->GetSelection(items)) && !items.empty();
             }},
        {.id = u"sp.cmd.folder.up",
         .title = u"$$$.sp.btn.folder.up.text",
         .icon_theme = u"ico.collection.moveUp",
         .style = UIX_CmdItemStyle_Text,
         .action = [this](DWORD) { NavigateUp(); },
         .state = [this](DWORD) { return m_can_navigate_up && !IsTaskRunning(); }},
    };
}

Dialog::~Dialog() {
    EndTask();
}

HRESULT Dialog::DoModal(bool open, HWND parent) {
    TRACE_ENTRY("Ui::Dialog::DoModal");
    m_open = open;
    const ResourceData templates = FindResourceData(IDR_DIALOGS_XML, u"XML");
    if (!parent) m_tmk_instance->get_MainWindow(&parent);
    UIX_CreateObjParams createUiObjectParameters{};
    createUiObjectParameters.pImpl = this;
    createUiObjectParameters.pTemplate = templates.data;
    createUiObjectParameters.nTemplateSize = templates.size;
    createUiObjectParameters.szTemplateId = open ? u"OpenDialog" : u"SaveDialog";
    createUiObjectParameters.hParent = parent;
    CHECK_RESULT(m_ui->CreateObj(&createUiObjectParameters, nullptr));
    CHECK_RETURN(m_pObj != nullptr, 1);
    LONGLONG result = kCancel;
    const ComPtr<IUIX_Obj> window = m_pObj;
    const HRESULT modal = window->DoModal(UIX_ObjModal_AppModal, &result);
    OnEndModal();  // nothing is left to do unless the window went without saying so
    window->Destroy();
    CHECK_RESULT_TEXT(modal, u"m_pObj->DoModal(UIX_ObjModal_AppModal, &result)");
    CHECK_RETURN_TEXT(result != 0 && result != kCancel, E_CANCELED, u"result != 0 && result != IDCANCEL");
    TRACE_RETURN(S_OK);
}

HRESULT Dialog::HandleEvent(UIX_Event& event) {
    switch (event.nCode) {
        case UIX_Event_Notify:
            return OnNotify(event);
        case UIX_Event_ShowModal:
            OnShowModal();
            break;
        case UIX_Event_PreEndModal:
            OnPreEndModal(event);
            break;
        case UIX_Event_EndModal:
            OnEndModal();
            break;
        case EventCodes::async_complete:
            return OnAsyncComplete(&event);
        case EventCodes::show_progress:
            if (m_progress_object) m_progress_object->Show(event.nParam1 != 0 ? kShow : kHide);
            break;
        default:
            break;
    }
    return S_OK;
}

HRESULT Dialog::OnNotify(const UIX_Event& event) {
    if (!m_list) return S_OK;  // before the window is filled, and after its end
    const auto is = [&](const char16_t* id, UIX_ControlAction action) {
        return event.nParam2 == action && IsControl(event.nParam1, id);
    };
    if (is(u"lst.files", UIX_Control_SelectionChanged)) return OnListSelectionChanged();
    if (is(u"lst.files", UIX_Control_NoticeClicked)) {
        const ComPtr<IAFS_Name> folder = m_try_again;
        return SetFolder(folder.get(), true);
    }
    if (is(u"ed.name", UIX_Control_TextChanged)) return OnNameChanged();
    if (is(u"cb.filter", UIX_Control_SelectionChanged)) return OnFilterComboSelectionChanged();
    if (is(u"btn.ok", UIX_Control_Clicked)) return OnOkClicked();
    if (is(u"btn.cancel", UIX_Control_Clicked)) EndModal(kCancel);
    if (is(u"btn.settings", UIX_Control_Clicked)) return OnSettingsClicked();
    return S_OK;
}

void Dialog::OnShowModal() {
    TRACE_ENTRY("Ui::Dialog::OnShowModal");
    ApplyParameters();
    MakeFilter();
    MakeProgress();
    for (const char16_t* const id : {u"cb.url", u"btn.navigate", u"btn.signOut"}) ShowControl(id, false);
    ShowControl(u"lb.url", true);
    const ComPtr<IUIX_Obj> list = GetControl(u"lst.files");
    // The dialog is of use without its bar.
    CreateCommandBar(m_tmk_instance.get(), list.get(), m_command_parameters, m_command_bar.put());
    ClearUi();
    SetText(u"ed.name", m_parameters->m_initial_file_name);
    MakeList();
    SetFolder(GetStartFolder().get(), true);
    TRACE_EXIT(u"");
}

void Dialog::ApplyParameters() {
    SetText(u"btn.settings", m_parameters->m_settings_btn_title);
    ShowControl(u"btn.settings", !m_parameters->m_settings_btn_title.empty());
    PluginContext* const plugin = m_file_system->GetPlugin();
    const ComPtr<IUIX_Obj> picture_object = GetControl(u"pic1");
    const ComPtr<IUIX_Picture> picture =
        picture_object ? picture_object.as<IUIX_Picture>() : ComPtr<IUIX_Picture>();
    if (picture && plugin) picture->put_Icon(plugin->m_icon.get());
    if (!m_parameters->m_title.empty()) m_pObj->put_Text(m_parameters->m_title.c_str());
    SetText(u"btn.ok", m_parameters->m_action_btn_title);
    SetText(u"btn.cancel", m_parameters->m_cancel_btn_title);
}

void Dialog::MakeFilter() {
    TRACE_NAME("Ui::Dialog::OnShowModal");
    const ComPtr<IUIX_Obj> object = GetControl(u"cb.filter");
    CHECK_THROW(object, HResultException, E_FAIL);
    const ComPtr<IUIX_Combo> combo = object.as<IUIX_Combo>();
    CHECK_THROW(combo, HResultException, E_NOINTERFACE);
    m_filter = std::make_shared<FilesExtensionFilter>(m_file_system.get(), combo.get());
    m_filter->SetFilter(m_parameters->m_file_filters.empty() ? MakeFilterText(*m_tmk_instance, m_open)
                                                             : m_parameters->m_file_filters);
    if (m_parameters->m_file_filter_index >= 0) combo->put_SelItem(m_parameters->m_file_filter_index);
}

void Dialog::MakeProgress() {
    TRACE_NAME("Ui::Dialog::OnShowModal");
    UIX_CreateObjParams parameters{};
    parameters.szClass = u"WaitProgress";
    parameters.pParent = m_pObj.get();
    if (const ComPtr<IUIX_Obj> list = GetControl(u"lst.files")) list->GetRect(&parameters.rcPlace);
    if (FAILED(m_ui->CreateObj(&parameters, m_progress_object.put())) || !m_progress_object) {
        LOG_LINE(Log::warning, u"The host has no progress to show");
        return;
    }
    m_progress = m_progress_object.as<IUIX_WaitProgress>();
    m_progress_object->Show(kHide);
}

void Dialog::MakeList() {
    m_navigator = std::make_shared<FoldersNavigator>(m_file_system.get());
    m_list = std::make_unique<FolderItemsList>(
        FolderItemsList::Parts{.inst = m_tmk_instance,
                               .ui = m_ui,
                               .file_system = m_file_system,
                               .navigator = m_navigator,
                               .list_object = GetControl(u"lst.files"),
                               .filter = m_filter,
                               .is_hidden = [this](const std::u16string& title,
                                                   DWORD attributes) { return IsHidden(title, attributes); },
                               .on_confirmed = [this](IAFS_Name* name) { return OnItemConfirmed(name); }});
}

void Dialog::OnPreEndModal(UIX_Event& event) {
    TRACE_ENTRY("Ui::Dialog::OnPreEndModal");
    if (const ComPtr<IUIX_Obj> filter = GetControl(u"cb.filter")) {
        LONG index = -1;
        const ComPtr<IUIX_Combo> combo = filter.as<IUIX_Combo>();
        if (combo && SUCCEEDED(combo->get_SelItem(&index))) m_parameters->m_file_filter_index = index;
    }
    m_end_id = static_cast<LONGLONG>(event.nParam1);
    m_end_pending = true;
    if (IsTaskRunning()) {
        event.bHandled = VARIANT_TRUE;
        if (m_navigator) m_navigator->Stop();
        // A change that has begun is waited for: what became of it would not be known.
        if (m_is_navigating && m_async_cancel) m_async_cancel->Cancel();
        Enable(u"btn.cancel", false);  // shows that the click was heard; the window ends with the task
        ClearUi();
    }
    TRACE_EXIT(u"");
}

void Dialog::OnEndModal() {
    if (m_navigator) m_navigator->Stop();
    EndTask();
    if (m_command_bar) DeleteCommands(m_tmk_instance.get(), m_command_parameters);
    m_command_bar.reset();
    m_list.reset();
    m_filter.reset();
    m_navigator.reset();
    m_progress.reset();
    m_progress_object.reset();
    m_end_pending = false;
}

HRESULT Dialog::OnOkClicked() {
    TRACE_NAME("Ui::Dialog::OnOkClicked");
    CHECK_RESULT(Open());
    UINT count = 0;
    m_files_to_open->get_Count(&count);
    if (count != 0) {
        RememberLastFolder();
        EndModal(kOk);
    }
    return S_OK;
}

HRESULT Dialog::OnSettingsClicked() {
    const ComPtr<IUIX_SettingsCallbacks>& callbacks = m_parameters->m_settings_btn_callbacks;
    return callbacks ? callbacks->OnSettings(m_pObj.get()) : S_OK;
}

ComPtr<IUIX_Obj> Dialog::GetControl(const char16_t* id) const {
    ComPtr<IUIX_Obj> control;
    DWORD atom = 0;
    if (m_pObj && SUCCEEDED(m_tmk_instance->Str2ID(id, VARIANT_TRUE, &atom)))
        m_pObj->GetControl(atom, control.put());
    return control;
}

bool Dialog::IsControl(DWORD_PTR id, const char16_t* name) const {
    DWORD atom = 0;
    return SUCCEEDED(m_tmk_instance->Str2ID(name, VARIANT_TRUE, &atom)) && atom == id;
}

void Dialog::Enable(const char16_t* id, bool enabled) {
    if (const ComPtr<IUIX_Obj> control = GetControl(id))
        control->put_Enabled(enabled ? VARIANT_TRUE : VARIANT_FALSE);
}

void Dialog::ShowControl(const char16_t* id, bool shown) {
    if (const ComPtr<IUIX_Obj> control = GetControl(id)) control->Show(shown ? kShow : kHide);
}

// An empty text keeps that of the template.
void Dialog::SetText(const char16_t* id, const std::u16string& text) {
    const ComPtr<IUIX_Obj> control = GetControl(id);
    if (control && !text.empty()) control->put_Text(text.c_str());
}

std::u16string Dialog::GetText(const char16_t* id) const {
    Bstr text;
    const ComPtr<IUIX_Obj> control = GetControl(id);
    if (control) control->get_Text(text.put());
    return text.str();
}

UINT Dialog::Ask(DWORD style, const PromptText& text, const std::vector<const char16_t*>& buttons) const {
    return ShowMessageBox(m_tmk_instance.get(), style, text, buttons);
}

}  // namespace Ui
