// The plug-in's own browser of a site, to open documents and to choose where to save one. Lives on the main
// thread; all work with the server runs on one task, which touches the navigator, names and the file system
// alone and comes back by a posted message.
#pragma once

#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/preferences.h"
#include "base/ui_object.h"
#include "browse/cancel_flag.h"
#include "browse/folder_items_list.h"
#include "browse/list/hidden_paths.h"
#include "dialogs/command_objects.h"
#include "dialogs/dialog_parameters.h"
#include "dialogs/message_box.h"

namespace Ui {

class DialogProgress;

class Dialog final : public uiCoObjImplT<Dialog> {
public:
    enum EventCodes : DWORD { async_complete = 6551, show_progress = 6552 };

    struct Wishes {
        ComPtr<TMK::IAFS_Name> default_folder;  // where to go when a folder can't be shown; may be null
        Preferences preferences;
    };

    // `io_parameters` outlives the dialog. Throws HResultException without what the host has to give.
    Dialog(TMK::ITMK_Inst* tmk_instance, FileSystem* file_system, DialogParameters& io_parameters,
           Wishes wishes);
    ~Dialog() override;

    // E_CANCELED when nothing was chosen.
    HRESULT DoModal(bool open, HWND parent);
    HRESULT HandleEvent(TMK::UIX_Event& event);

    ComPtr<TMK::IAFS_NamesCollection> m_files_to_open;  // what was chosen

private:
    using Function = std::function<HRESULT()>;
    struct AsyncCallbackContext {
        Function function;
        std::string function_name;
    };

    // What a text names: the item of the folder, or nothing but the title.
    struct NamedItem {
        std::u16string title;
        ComPtr<TMK::IAFS_Name> name = {};
        ComPtr<TMK::IAFS_ItemInfo> information = {};
    };
    using NamedItems = std::vector<NamedItem>;

    // The task (dialog_tasks.cpp).
    bool AsyncStart(std::function<void()> i_function, const char* i_function_name);
    HRESULT AsyncComplete(Function i_function, const char* i_function_name);  // on the task, as its last act
    HRESULT OnAsyncComplete(const TMK::UIX_Event* i_event);
    bool IsTaskRunning();
    void EndTask();
    void BeginBusy();
    void EndBusy();
    void PostProgress(bool show);

    // The window.
    HRESULT OnNotify(const TMK::UIX_Event& event);
    void OnShowModal();
    void OnPreEndModal(TMK::UIX_Event& event);
    void OnEndModal();
    void ApplyParameters();
    void MakeFilter();
    void MakeProgress();
    void MakeList();
    HRESULT OnOkClicked();
    HRESULT OnSettingsClicked();
    ComPtr<TMK::IUIX_Obj> GetControl(const char16_t* id) const;
    bool IsControl(DWORD_PTR id, const char16_t* name) const;
    void Enable(const char16_t* id, bool enabled);
    void ShowControl(const char16_t* id, bool shown);
    void SetText(const char16_t* id, const std::u16string& text);
    std::u16string GetText(const char16_t* id) const;
    UINT Ask(DWORD style, const PromptText& text, const std::vector<const char16_t*>& buttons) const;

    // Folders (dialog_folders.cpp).
    HRESULT SetFolder(TMK::IAFS_Name* folder, bool show_error);
    void OnFolderSet(HRESULT result, const ComPtr<TMK::IAFS_Name>& wanted, bool show_error);
    void TellNavigationFailed();
    void ShowNotice(HRESULT result, const ComPtr<TMK::IAFS_Name>& wanted);
    HRESULT Refresh();
    HRESULT NavigateUp();
    HRESULT OnItemConfirmed(TMK::IAFS_Name* name);
    ComPtr<TMK::IAFS_Name> GetStartFolder();
    void RememberLastFolder();
    void ClearUi();
    void FillUi();
    void ShowItems();
    void UpdateCommandBar();
    bool IsHidden(const std::u16string& title, DWORD attributes) const;

    // Names (dialog_names.cpp).
    HRESULT OnListSelectionChanged();
    HRESULT OnNameChanged();
    HRESULT OnFilterComboSelectionChanged();
    HRESULT Open();
    HRESULT AskForReplacing(NamedItems& names, bool& entered_folder);
    HRESULT AddNames(NamedItems& names, TMK::IAFS_NamesCollection& files_names);
    bool MayReplace(const std::u16string& title);
    NamedItems GetSelectedFolderFromList();
    NamedItems GetNamesFromNameEditControl();
    void FindItem(NamedItem& item, const std::u16string& typed) const;
    void AddDefaultExtension(std::u16string& name) const;
    HRESULT GetTitle(TMK::IAFS_Name* name, std::u16string& title) const;

    // Changes on the server (dialog_changes.cpp).
    HRESULT CreateFolder();
    HRESULT Delete();
    bool AskForFolderName(const std::vector<std::u16string>& titles, std::u16string& name);
    HRESULT CreateFolderNow(TMK::IAFS_Name* folder, const std::u16string& name, DialogProgress& progress);
    bool DeleteNow(const NamedItems& items, DialogProgress& progress);
    PromptText DeleteQuestion(const NamedItems& items) const;
    bool RunChange(std::function<bool(DialogProgress&)> work);
    bool RefuseSecondChange(const PromptText& message);

    const ComPtr<TMK::ITMK_Inst> m_tmk_instance;
    ComPtr<TMK::IUIX_Inst> m_ui;
    const ComPtr<FileSystem> m_file_system;
    std::future<void> m_async;
    ComPtr<CancelFlag> m_async_cancel;  // ends what the task waits for
    std::mutex m_complete_lock;
    std::unique_ptr<AsyncCallbackContext> m_complete;  // posted, and not called yet
    bool m_open = true;
    DialogParameters* const m_parameters;
    const ComPtr<TMK::IAFS_Name> m_default_folder;
    const Preferences m_preferences;
    const HiddenPaths m_hidden_paths;
    std::u16string m_folder_path;  // of the shown folder, below the site
    std::unique_ptr<FolderItemsList> m_list;
    std::shared_ptr<FilesExtensionFilter> m_filter;
    std::shared_ptr<FoldersNavigator> m_navigator;
    LONGLONG m_end_id = 0;
    bool m_end_pending = false;
    ComPtr<TMK::IUIX_Obj> m_progress_object;
    ComPtr<TMK::IUIX_WaitProgress> m_progress;
    HWND m_window = nullptr;  // for the task
    uint32_t m_busy = 0;
    bool m_is_navigating = false;
    bool m_can_navigate_up = false;
    ComPtr<TMK::IAFS_Name> m_try_again;  // what the notice's button goes to
    ComPtr<TMK::IUIX_CmdBar> m_command_bar;
    CommandParameters m_command_parameters;
};

}  // namespace Ui
