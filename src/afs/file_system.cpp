// The file system's life, its plain properties, progress monitors, dialogs and accounts.
#include "afs/file_system.h"

#include "base/failure.h"
#include "base/out_values.h"
#include "base/url.h"
#include "dialogs/message_box.h"
#include "dialogs/open_save_dialogs.h"
#include "session/account_data.h"
#include "session/create_account_dialog.h"

namespace {

constexpr DWORD kFeatures = 0x3000A7FF;
constexpr DWORD kChoiceOk = 1;
constexpr DWORD kChoiceCanceled = 2;
constexpr DWORD kModeOpen = 1;
constexpr size_t kFirstBuckets = 8;

}  // namespace

FileSystem::FileSystem(PluginContext& plugin, TMK::IAFS_Inst* afs_inst)
    : m_plugin(&plugin), m_afs_inst(afs_inst), m_progress_monitors(kFirstBuckets) {
    m_progress_monitors.max_load_factor(1.0F);
}

FileSystem::~FileSystem() {
    TRACE_ENTRY("FileSystem::~FileSystem");
    TRACE_EXIT(u"");
}

void FileSystem::Detach() {
    {
        const std::lock_guard lock(m_monitors_lock);
        m_progress_monitors.clear();
    }
    m_plugin.reset();
    m_afs_inst.reset();
}

ComPtr<TMK::IAFS_Inst> FileSystem::GetAFS() const {
    TRACE_NAME("FileSystem::GetAFS");
    CHECK_THROW(m_afs_inst != nullptr, HResultException, E_FAIL);
    return m_afs_inst;
}

ComPtr<Name> FileSystem::GetName(TMK::IAFS_Name* name) const {
    TRACE_ENTRY("FileSystem::GetName");
    if (!name) {
        TRACE_EXIT(u"name==nullptr");
        return {};
    }
    ComPtr<TMK::IAFS_FileSys> file_system;
    if (FAILED(name->get_FileSys(file_system.put()))) {
        TRACE_EXIT(u"name->get_FileSys failed");
        return {};
    }
    if (file_system.get() != static_cast<const TMK::IAFS_FileSys*>(this)) {
        TRACE_EXIT(u"wrong file_system");
        return {};
    }
    TRACE_EXIT(u"");
    return ComPtr<Name>(static_cast<Name*>(name));
}

HRESULT FileSystem::get_Name(BSTR* out_name) {
    TRACE_ENTRY("FileSystem::get_Name");
    RETURN_STRING(out_name, u"SharePoint");
}

HRESULT FileSystem::get_Features(TMK::IAFS_Name*, DWORD* out_features) {
    TRACE_ENTRY("FileSystem::get_Features");
    RETURN_VALUE(out_features, kFeatures);
}

HRESULT FileSystem::get_UserText(BSTR* out_text) {
    TRACE_ENTRY("FileSystem::get_UserText");
    RETURN_STRING(out_text, m_user_text);
}

HRESULT FileSystem::put_UserText(LPCWSTR text) {
    TRACE_ENTRY("FileSystem::put_UserText");
    try {
        m_user_text = text ? text : u"";
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::put_Prop(TMK::IAFS_Name*, LPCWSTR, const VARIANT&) {
    TRACE_ENTRY("FileSystem::put_Prop");
    TRACE_RETURN(E_NOTIMPL);
}

HRESULT FileSystem::GetVolumeSpace(TMK::IAFS_Name*, ULONGLONG*, ULONGLONG*,
                                   TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("FileSystem::GetVolumeSpace");
    CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
    TRACE_RETURN(E_NOTIMPL);
}

HRESULT FileSystem::get_DispName(BSTR* o_display_name) {
    TRACE_ENTRY("FileSystem::get_DispName");
    CHECK_RETURN(o_display_name != nullptr, E_POINTER);
    *o_display_name = nullptr;
    CHECK_RETURN(m_plugin != nullptr && m_plugin->m_tmk_inst != nullptr, E_FAIL);
    CHECK_RESULT_TEXT(m_plugin->m_tmk_inst->GetLocalStr(u"sp.str.sharePoint", o_display_name),
                      u"m_plugin->m_tmk_inst->GetLocalStr(L\"sp.str.sharePoint\", o_display_name)");
    TRACE_RETURN(S_OK);
}

HRESULT FileSystem::get_Icon(TMK::IUIX_Icon** o_icon) {
    TRACE_ENTRY("FileSystem::get_Icon");
    CHECK_RETURN(o_icon != nullptr, E_POINTER);
    *o_icon = nullptr;
    CHECK_RETURN(m_plugin != nullptr, E_FAIL);
    *o_icon = m_plugin->m_icon.copy();
    TRACE_RETURN(S_OK);
}

HRESULT FileSystem::CreateDlgParams(DWORD i_dialog_type, DWORD, TMK::IAFS_DlgParams** o_dialog_parameters) {
    TRACE_ENTRY("FileSystem::CreateDlgParams");
    CHECK_RETURN(m_plugin != nullptr && m_plugin->m_afs_inst != nullptr, E_FAIL);
    CHECK_RESULT(m_plugin->m_afs_inst->CreateDlgDefaultParams(i_dialog_type, o_dialog_parameters));
    TRACE_RETURN(S_OK);
}

// What the host wants, with the folder to begin in.
HRESULT FileSystem::LoadDlgParameters(TMK::IAFS_DlgParams* dialog_parameters, Name& initial_folder,
                                      Ui::DialogParameters& out_parameters) {
    TRACE_NAME("FileSystem::ShowDlg");
    const HRESULT loaded = out_parameters.LoadFromCab(dialog_parameters);
    if (SUCCEEDED(loaded) && out_parameters.m_initial_path_name) {
        const ComPtr<Name> parameters_initial_folder = GetName(out_parameters.m_initial_path_name.get());
        CHECK_RETURN(parameters_initial_folder != nullptr, E_INVALIDARG);
        const std::u16string initial_folder_root_url = initial_folder.GetSession()->GetWebUrl();
        const std::u16string parameters_initial_folder_root_url =
            parameters_initial_folder->GetSession()->GetWebUrl();
        CHECK_RETURN(CompareUrls(initial_folder_root_url.c_str(),
                                 parameters_initial_folder_root_url.c_str()) == CompareUrlsResult::equal,
                     E_INVALIDARG);
    } else {
        out_parameters.m_initial_path_name = ComPtr<TMK::IAFS_Name>(&initial_folder);
    }
    return S_OK;
}

HRESULT FileSystem::ShowDlg(DWORD i_dialog_type, TMK::IAFS_Name* initial_folder,
                            TMK::IAFS_DlgParams* dialog_parameters, HWND i_parent_window,
                            TMK::IAFS_NamesCollection** o_names, DWORD* o_user_choise) {
    TRACE_ENTRY("FileSystem::ShowDlg");
    try {
        CHECK_RETURN_TEXT(
            i_dialog_type == TMK::AFS_Dlg_OpenFiles || i_dialog_type == TMK::AFS_Dlg_SaveFile ||
                i_dialog_type == TMK::AFS_Dlg_SelectFolder,
            E_INVALIDARG,
            u"i_dialog_type == TMK::AFS_Dlg_OpenFiles || i_dialog_type == TMK::AFS_Dlg_SaveFile || "
            u"i_dialog_type == TMK::AFS_Dlg_SelectFolder");
        CHECK_RETURN(o_names != nullptr, E_POINTER);
        CHECK_RETURN(o_user_choise != nullptr, E_POINTER);
        *o_names = nullptr;
        *o_user_choise = kChoiceCanceled;
        if (i_dialog_type == TMK::AFS_Dlg_SelectFolder) {
            CHECK_RETURN(m_afs_inst != nullptr, E_FAIL);
            return m_afs_inst->ShowDlg(i_dialog_type, initial_folder, dialog_parameters, i_parent_window,
                                       o_names, o_user_choise);
        }
        const ComPtr<Name> local_folder = GetName(initial_folder);
        CHECK_RETURN_TEXT(local_folder != nullptr, E_INVALIDARG, u"initial_folder != nullptr");
        CHECK_RETURN_TEXT(local_folder->GetSession() != nullptr, E_INVALIDARG,
                          u"initial_folder->GetSession() != nullptr");
        CHECK_RETURN(m_plugin != nullptr, E_FAIL);
        const bool is_open = i_dialog_type == TMK::AFS_Dlg_OpenFiles;
        Ui::DialogParameters dialg_parameters;
        CHECK_RESULT(LoadDlgParameters(dialog_parameters, *local_folder, dialg_parameters));
        const DWORD usual = is_open ? DWORD{kModeOpen} : DWORD{Ui::DialogParameters::confirm_overwrite};
        if (dialg_parameters.m_flags == 0) dialg_parameters.m_flags = usual;
        const ComPtr<Name> default_folder = Name::Create(local_folder->GetSession()->GetWeb(), *local_folder);
        const std::shared_ptr<Ui::OpenSaveDialogs> dialog = m_plugin->GetOpenSaveDialogs();
        CHECK_RETURN(dialog != nullptr, E_FAIL);
        const Preferences preferences = m_plugin->m_preferences_manager.Get();
        if (is_open) {
            CHECK_RESULT_TEXT(dialog->ShowOpenSinglePlace(o_names, dialg_parameters, default_folder.get(),
                                                          i_parent_window, preferences),
                              u"dialog->ShowOpenSinglePlace(o_names, dialg_parameters, default_folder, "
                              u"i_parent_window, m_plugin->m_preferences_manager.m_preferences)");
        } else {
            CHECK_RESULT_TEXT(dialog->ShowSaveSinglePlace(o_names, dialg_parameters, default_folder.get(),
                                                          i_parent_window, preferences),
                              u"dialog->ShowSaveSinglePlace(o_names, dialg_parameters, default_folder, "
                              u"i_parent_window, m_plugin->m_preferences_manager.m_preferences)");
        }
        *o_user_choise = kChoiceOk;
        if (dialog_parameters) dialg_parameters.SaveToCab(dialog_parameters);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::CreateAccount(LPCWSTR i_url, TMK::ITMK_Cab* i_source_cab, DWORD, DWORD, DWORD,
                                  TMK::IAFS_AccountData** o_account_data) {
    TRACE_ENTRY("FileSystem::CreateAccount");
    try {
        CHECK_RETURN(o_account_data != nullptr, E_POINTER);
        *o_account_data = nullptr;
        CHECK_RETURN(m_plugin != nullptr && m_plugin->m_tmk_inst != nullptr, E_FAIL);
        ComPtr<TMK::IAFS_BindContext> context;
        CHECK_RESULT_TEXT(m_plugin->m_tmk_inst->CreateStdBindContext(context.put()),
                          u"m_plugin->m_tmk_inst->CreateStdBindContext(&context)");
        ComPtr<AccountData> account_data;
        if (i_source_cab) {
            const HRESULT result = AccountData::Create(m_plugin.get(), i_source_cab, account_data);
            *o_account_data = account_data.detach();
            return result;
        }
        if (i_url && *i_url) {
            CHECK_RESULT(CreateAccountByUrl(i_url, context.get(), account_data));
        } else {
            CHECK_RESULT(AskForAccount(context.get(), account_data));
        }
        *o_account_data = account_data.detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::CreateAccountByUrl(const std::u16string& url, TMK::IAFS_BindContext* context,
                                       ComPtr<AccountData>& account_data) {
    TRACE_NAME("FileSystem::CreateAccount");
    account_data = MakeObject<AccountData>(*m_plugin, url, m_plugin->m_preferences_manager.Get().api_version);
    CHECK_RETURN(account_data != nullptr, E_OUTOFMEMORY);
    const HRESULT result = BindAccount(*account_data, context);
    CHECK_RESULT(result);
    return S_OK;
}

// The account gets the URL of the site that it leads to.
HRESULT FileSystem::BindAccount(AccountData& account_data, TMK::IAFS_BindContext* context) {
    TRACE_NAME("FileSystem::CreateAccount");
    ComPtr<TMK::IAFS_Name> host_name;
    const HRESULT result = BindToObject(static_cast<TMK::IAFS_AccountData*>(&account_data), context, 0,
                                        nullptr, nullptr, host_name.put());
    if (FAILED(result)) return result;
    const ComPtr<Name> name = GetName(host_name.get());
    CHECK_RETURN(name != nullptr, E_FAIL);
    account_data.SetUrl(name->GetSession()->GetWebUrl());
    return S_OK;
}

// The dialog comes again, with what is wrong, until an address leads to a site or the person gives up.
HRESULT FileSystem::AskForAccount(TMK::IAFS_BindContext* context, ComPtr<AccountData>& account_data) {
    TRACE_NAME("FileSystem::CreateAccount");
    Ui::PromptText error;
    std::u16string url;
    HWND nWindow = nullptr;
    m_plugin->m_tmk_inst->get_MainWindow(&nWindow);
    for (;;) {
        account_data.reset();
        if (Ui::CreateAccountDialog::Show(*m_plugin, nWindow, error, url, account_data) != S_OK)
            return E_CANCELED;
        CHECK_RETURN(account_data != nullptr, E_INVALIDARG);
        const HRESULT result = BindAccount(*account_data, context);
        if (SUCCEEDED(result)) return S_OK;
        if (result == E_CANCELED) CHECK_RESULT(result);
        error = Ui::FormatPrompt(m_plugin->m_tmk_inst.get(), u"sp.lb.sharePointPlaceValidUrl", url);
    }
}

size_t FileSystem::ThreadIdHash::operator()(DWORD id) const {
    uint64_t hash = 14695981039346656037ULL;
    for (int byte = 0; byte < 4; ++byte, id >>= 8) hash = (hash ^ (id & 0xFF)) * 1099511628211ULL;
    return static_cast<size_t>(hash);
}

HRESULT FileSystem::SetProgressMon(TMK::ITMK_ProgressMon* monitor) {
    TRACE_ENTRY("FileSystem::SetProgressMon");
    try {
        const std::lock_guard lock(m_monitors_lock);
        const DWORD thread = GetCurrentThreadId();
        const auto entry = m_progress_monitors.find(thread);
        if (entry == m_progress_monitors.end()) {
            if (!monitor) TRACE_RETURN(S_FALSE);
            m_progress_monitors.emplace(thread, ComPtr<TMK::ITMK_ProgressMon>(monitor));
        } else if (monitor) {
            entry->second = ComPtr<TMK::ITMK_ProgressMon>(monitor);
        } else {
            m_progress_monitors.erase(entry);
        }
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT FileSystem::GetProgressMon(DWORD thread_id, TMK::ITMK_ProgressMon** out_progress_monitor) {
    TRACE_ENTRY("FileSystem::GetProgressMon");
    CHECK_RETURN(out_progress_monitor != nullptr, E_POINTER);
    *out_progress_monitor = nullptr;
    const std::lock_guard lock(m_monitors_lock);
    const auto entry = m_progress_monitors.find(thread_id ? thread_id : GetCurrentThreadId());
    if (entry == m_progress_monitors.end()) TRACE_RETURN(S_FALSE);
    *out_progress_monitor = entry->second.copy();
    TRACE_RETURN(S_OK);
}
