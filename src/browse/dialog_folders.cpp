// Going to folders, and what the window shows of the current one.
#include "base/failure.h"
#include "base/plugin_context.h"
#include "browse/dialog.h"
#include "browse/recent_folders.h"

using namespace TMK;

namespace Ui {

// docs/compatibility.md: A dialog's task refuses a second one
HRESULT Dialog::SetFolder(IAFS_Name* folder, bool show_error) {
    TRACE_ENTRY("Ui::Dialog::SetFolder");
    CHECK_RETURN(m_navigator != nullptr, E_FAIL);
    const ComPtr<IAFS_Name> wanted(folder);
    const auto work = [this, wanted, show_error, navigator = m_navigator] {
        HRESULT result = E_FAIL;
        try {
            result = navigator->SetFolder(wanted.get(), {});
            if (FAILED(result) && result != E_CANCELED && m_default_folder && m_default_folder != wanted) {
                LOG_LINE(Log::warning, u"Failed to navigate to %p, trying default folder %p",
                         static_cast<const void*>(wanted.get()),
                         static_cast<const void*>(m_default_folder.get()));
                result = navigator->SetFolder(m_default_folder.get(), {});
            }
        } catch (...) {
            result = FailureToResult(trace_function, nullptr);
        }
        AsyncComplete(
            [this, result, wanted, show_error] {
                OnFolderSet(result, wanted, show_error);
                return S_OK;
            },
            "SetFolder::Complete");
    };
    const bool is_running = IsTaskRunning();
    if (!is_running) {
        ClearUi();
        BeginBusy();
        m_is_navigating = true;
    }
    if (!AsyncStart(work, "SetFolder::Start")) {
        // What a running task works on is not looked at.
        if (!is_running) {
            m_is_navigating = false;
            EndBusy();
            ShowItems();
            FillUi();
        }
        TellNavigationFailed();
    }
    TRACE_RETURN(S_OK);
}

void Dialog::OnFolderSet(HRESULT result, const ComPtr<IAFS_Name>& wanted, bool show_error) {
    m_is_navigating = false;
    EndBusy();
    if (m_end_pending || !m_list) return;
    ShowItems();
    FillUi();
    ShowNotice(result, wanted);
    if (FAILED(result) && result != E_CANCELED && show_error) TellNavigationFailed();
}

void Dialog::TellNavigationFailed() {
    Ask(kStyleWarning, FormatPrompt(m_tmk_instance.get(), u"sp.msg.navigateError"), {u"btn.close"});
}

// docs/compatibility.md: A listing that can't be read is empty
void Dialog::ShowNotice(HRESULT result, const ComPtr<IAFS_Name>& wanted) {
    std::u16string text;
    if (FAILED(result) && !m_navigator->GetFolder()) {
        m_try_again = wanted;
        text = FormatString(m_tmk_instance.get(), u"sp.msg.navigateError");
        Enable(u"lst.files", true);
    } else if (!m_navigator->GetUnreadReason().empty()) {
        m_try_again = m_navigator->GetFolder();
        text = m_navigator->GetUnreadReason();
    }
    if (!text.empty()) m_list->SetNotice(text, FormatString(m_tmk_instance.get(), u"btn.tryAgain"));
}

HRESULT Dialog::Refresh() {
    TRACE_NAME("Ui::Dialog::Refresh");
    CHECK_RETURN(m_navigator != nullptr, E_FAIL);
    return SetFolder(ComPtr<IAFS_Name>(m_navigator->GetFolder()).get(), true);
}

HRESULT Dialog::NavigateUp() {
    TRACE_NAME("Ui::Dialog::NavigateUp");
    CHECK_RETURN(m_navigator != nullptr, E_FAIL);
    if (!m_can_navigate_up) {
        LOG_LINE(Log::warning, u"Called NavigateUp when navigation to parent should be disabled");
        return S_FALSE;
    }
    // A running navigation has the parent to itself, and is not left for another one.
    const ComPtr<IAFS_Name> parent = m_is_navigating ? ComPtr<IAFS_Name>() : m_navigator->GetParent();
    const HRESULT result = SetFolder(parent.get(), true);
    if (FAILED(result)) {
        LOG_LINE(Log::error, u"Failed to navigate up, result=%d", result);
    } else {
        LOG_LINE(Log::information, u"Navigated up");
    }
    return result;
}

HRESULT Dialog::OnItemConfirmed(IAFS_Name* name) {
    TRACE_ENTRY("Ui::Dialog::OnItemConfirmed");
    if (m_is_navigating) TRACE_RETURN(S_FALSE);
    ComPtr<IAFS_FileInfo> info;
    CHECK_RESULT_TEXT(m_file_system->GetFileInfo(name, nullptr, nullptr, info.put()),
                      u"m_file_system->GetFileInfo(name, nullptr, nullptr, &info)");
    DWORD attributes = 0;
    CHECK_RESULT(info->get_Attributes(&attributes));
    if ((attributes & AFS_FileAttribute_Folder) != 0) return SetFolder(name, true);
    if (!m_open) {
        std::u16string title;
        CHECK_RESULT(GetTitle(name, title));
        if (!MayReplace(title)) TRACE_RETURN(S_OK);
    }
    CHECK_RESULT(m_files_to_open->Add(name));
    RememberLastFolder();
    EndModal(1);
    TRACE_RETURN(S_OK);
}

// A caller that names the site alone gets the folder of the last time.
ComPtr<IAFS_Name> Dialog::GetStartFolder() {
    ComPtr<IAFS_Name> start = m_parameters->m_initial_path_name;
    if (!start) start = m_default_folder;
    PluginContext* const plugin = m_file_system->GetPlugin();
    VARIANT_BOOL is_site = VARIANT_FALSE;
    if (!plugin || !m_default_folder ||
        FAILED(m_file_system->NamesAreEqual(start.get(), m_default_folder.get(), &is_site)) ||
        is_site == VARIANT_FALSE) {
        return start;
    }
    Bstr site;
    if (FAILED(m_file_system->NameToString(m_default_folder.get(), 0, nullptr, site.put()))) return start;
    const std::u16string recent = GetRecentFolder(*plugin, site.str());
    ComPtr<IAFS_Name> name;
    if (recent.empty() ||
        FAILED(m_file_system->StringToName(recent.c_str(), 0, m_default_folder.get(), name.put())) || !name) {
        return start;
    }
    return name;
}

void Dialog::RememberLastFolder() {
    PluginContext* const plugin = m_file_system->GetPlugin();
    Bstr site;
    Bstr folder;
    if (!plugin || !m_navigator ||
        FAILED(m_file_system->NameToString(m_default_folder.get(), 0, nullptr, site.put())) ||
        FAILED(m_file_system->NameToString(m_navigator->GetFolder().get(), 0, nullptr, folder.put()))) {
        return;
    }
    RememberFolder(*plugin, site.str(), folder.str());
}

void Dialog::ClearUi() {
    for (const char16_t* const id : {u"cb.url", u"btn.navigate", u"btn.signOut", u"lb.path", u"lb.filesNum",
                                     u"lst.files", u"ed.name", u"cb.filter", u"btn.ok"}) {
        Enable(id, false);
    }
    if (m_list) {
        m_list->SetNotice({}, {});
        m_list->Clear();
    }
    const ComPtr<IUIX_Obj> name = GetControl(u"ed.name");
    if (m_open && name) name->put_Text(u"");
}

void Dialog::ShowItems() {
    TRACE_NAME("Ui::Dialog::ShowItems");
    m_folder_path.clear();
    Bstr path;
    // The site itself has no path below the site.
    if (!m_hidden_paths.IsEmpty() &&
        SUCCEEDED(m_file_system->NameToString(m_navigator->GetFolder().get(), AFS_Name2String_Relative,
                                              nullptr, path.put()))) {
        m_folder_path = path.str();
    }
    if (const HRESULT result = m_list->Refresh(); FAILED(result))
        LOG_LINE(Log::error, u"Failed to show the items of the folder, result=%d", result);
}

void Dialog::FillUi() {
    TRACE_NAME("Ui::Dialog::FillUi");
    m_can_navigate_up = m_navigator->GetParent() != nullptr;
    UpdateCommandBar();
    Bstr folder_url;
    if (FAILED(m_file_system->NameToString(m_navigator->GetFolder().get(), 0, nullptr, folder_url.put())))
        return;
    SetText(u"lb.url", folder_url.str());
    for (const char16_t* const id : {u"btn.signOut", u"lst.files", u"ed.name", u"cb.filter"})
        Enable(id, true);
    if (!m_open) Enable(u"btn.ok", !GetText(u"ed.name").empty());
}

void Dialog::UpdateCommandBar() {
    if (m_command_bar) UpdateCommands(m_tmk_instance.get(), m_command_parameters);
}

bool Dialog::IsHidden(const std::u16string& title, DWORD attributes) const {
    if ((attributes & AFS_FileAttribute_Hidden) != 0 && m_preferences.show_hidden_items == 0) return true;
    if (m_hidden_paths.IsEmpty()) return false;
    return m_hidden_paths.Hides(m_folder_path.empty() ? title : m_folder_path + u'/' + title);
}

}  // namespace Ui
