// The object that the host talks to for everything on a SharePoint site. Made by Plugin and cut off from it
// at unload; the host calls from its main thread and from workers, and only the progress monitors are
// guarded.
#pragma once

#include <mutex>
#include <string>
#include <unordered_map>

#include "afs/names/name.h"
#include "base/plugin_context.h"
#include "base/scaffolding.h"
#include "hostapi/iafs.h"

namespace Ui {
struct DialogParameters;
}

class FileSystem final : public cCoClassDispatchT<FileSystem, FileSystemContext> {
public:
    FileSystem(PluginContext& plugin, TMK::IAFS_Inst* afs_inst);
    ~FileSystem() override;

    void Detach() override;
    PluginContext* GetPlugin() const override { return m_plugin.get(); }
    ComPtr<TMK::IAFS_Inst> GetAFS() const override;
    // The local name behind a host's name; empty for null and for names of other file systems.
    ComPtr<Name> GetName(TMK::IAFS_Name* name) const;

    HRESULT get_Name(BSTR* out_name) override;
    HRESULT get_Features(TMK::IAFS_Name* name, DWORD* out_features) override;
    HRESULT get_UserText(BSTR* out_text) override;
    HRESULT put_UserText(LPCWSTR text) override;
    HRESULT get_Prop(TMK::IAFS_Name* name, LPCWSTR prop_name, VARIANT* out_value) override;
    HRESULT put_Prop(TMK::IAFS_Name* name, LPCWSTR prop_name, const VARIANT& value) override;
    HRESULT Exec(TMK::IAFS_Name* i_name, LPCWSTR i_operation_name, const VARIANT& i_data, VARIANT* reserved1,
                 IUnknown* reserved2, TMK::ITMK_CancelFlag* i_cancel_flag) override;
    HRESULT BindToPath(LPCWSTR path, TMK::IAFS_BindContext* context, DWORD reserved1, IUnknown* reserved2,
                       TMK::ITMK_CancelFlag* cancel_flag, TMK::IAFS_Name** out_host_name) override;
    HRESULT BindToObject(IUnknown* object, TMK::IAFS_BindContext* context, DWORD reserved1,
                         IUnknown* reserved2, TMK::ITMK_CancelFlag* cancel_flag,
                         TMK::IAFS_Name** out_host_name) override;
    HRESULT BindFlush(TMK::IAFS_Name* name, DWORD reserved1, IUnknown* reserved2,
                      TMK::ITMK_ErrorDetails* out_error_details, TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT BindClose() override;
    HRESULT EnumFolder(TMK::IAFS_Name* name, DWORD reserved, TMK::ITMK_CancelFlag* cancel_flag,
                       TMK::IAFS_EnumFolder** out_enum) override;
    HRESULT StringToName(LPCWSTR string, DWORD flags, TMK::IAFS_Name* parent,
                         TMK::IAFS_Name** out_name) override;
    HRESULT NameToString(TMK::IAFS_Name* name, DWORD flags, TMK::IAFS_Name* parent,
                         BSTR* out_string) override;
    HRESULT NameGetParent(TMK::IAFS_Name* name, TMK::IAFS_Name** out_parent) override;
    HRESULT NameIsChildOf(TMK::IAFS_Name* name, TMK::IAFS_Name* parent, VARIANT_BOOL* out_is_child) override;
    HRESULT NamesAreEqual(TMK::IAFS_Name* name1, TMK::IAFS_Name* name2, VARIANT_BOOL* out_are_equal) override;
    HRESULT OpenFile(TMK::IAFS_Name* name, DWORD flags, TMK::ITMK_ErrorDetails* out_error_details,
                     TMK::ITMK_CancelFlag* cancel_flag, TMK::IAFS_File** out_file) override;
    HRESULT CreateFolder(TMK::IAFS_Name* name, DWORD reserved, TMK::ITMK_ErrorDetails* out_error_details,
                         TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT Move(TMK::IAFS_Name* name, TMK::IAFS_Name* new_name, TMK::ITMK_ErrorDetails* out_error_details,
                 TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT Copy(TMK::IAFS_Name* name, TMK::IAFS_Name* new_name, TMK::ITMK_ErrorDetails* out_error_details,
                 TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT Rename(TMK::IAFS_Name* name, TMK::IAFS_Name* new_name, TMK::ITMK_ErrorDetails* out_error_details,
                   TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT Delete(TMK::IAFS_Name* name, TMK::ITMK_ErrorDetails* out_error_details,
                   TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT GetFileInfo(TMK::IAFS_Name* name, TMK::ITMK_ErrorDetails* out_error_details,
                        TMK::ITMK_CancelFlag* cancel_flag, TMK::IAFS_FileInfo** out_file_info) override;
    HRESULT GetVolumeSpace(TMK::IAFS_Name* name, ULONGLONG* out_total, ULONGLONG* out_free,
                           TMK::ITMK_CancelFlag* cancel_flag) override;
    HRESULT CreateDlgParams(DWORD i_dialog_type, DWORD reserved,
                            TMK::IAFS_DlgParams** o_dialog_parameters) override;
    HRESULT ShowDlg(DWORD i_dialog_type, TMK::IAFS_Name* initial_folder,
                    TMK::IAFS_DlgParams* dialog_parameters, HWND i_parent_window,
                    TMK::IAFS_NamesCollection** o_names, DWORD* o_user_choise) override;
    HRESULT SetProgressMon(TMK::ITMK_ProgressMon* monitor) override;
    HRESULT GetProgressMon(DWORD thread_id, TMK::ITMK_ProgressMon** out_progress_monitor) override;
    HRESULT CreateAccount(LPCWSTR i_url, TMK::ITMK_Cab* i_source_cab, DWORD reserved1, DWORD reserved2,
                          DWORD reserved3, TMK::IAFS_AccountData** o_account_data) override;
    HRESULT get_DispName(BSTR* o_display_name) override;
    HRESULT get_Icon(TMK::IUIX_Icon** o_icon) override;

private:
    // FNV-1a over the four bytes of a thread id, low byte first.
    struct ThreadIdHash {
        size_t operator()(DWORD id) const;
    };

    HRESULT ExecSignOut(TMK::IAFS_Name* i_name, const VARIANT& i_data);
    HRESULT ExecCreateCacheOnLocalFile(TMK::IAFS_Name* i_name, const VARIANT& i_data);
    HRESULT ExecDeleteFileCacheEntry(TMK::IAFS_Name* i_name, const VARIANT& i_data);
    // The preferences in use: an array of a name, its value and the largest number allowed, for each of them.
    HRESULT GetPreferences(VARIANT* out_value);
    // Changes one and saves them all. Throws HResultException E_INVALIDARG for what doesn't fit.
    HRESULT SetPreference(const VARIANT& name, const VARIANT& value);
    HRESULT GetCheckedOut(TMK::IAFS_Name* name, VARIANT* out_value);
    HRESULT GetText(TMK::IAFS_Name* name, std::u16string SharePoint::Information::*text, VARIANT* out_value);
    HRESULT GetUnreadReason(TMK::IAFS_Name* name, VARIANT* out_value);
    HRESULT GetThumbnail(TMK::IAFS_Name* name, VARIANT* out_value);
    HRESULT GetBoundFile(const char* trace_function, TMK::IAFS_Name* name,
                         std::shared_ptr<SharePoint::File>& file);
    HRESULT LoadDlgParameters(TMK::IAFS_DlgParams* dialog_parameters, Name& initial_folder,
                              Ui::DialogParameters& out_parameters);
    HRESULT CreateAccountByUrl(const std::u16string& url, TMK::IAFS_BindContext* context,
                               ComPtr<AccountData>& account_data);
    HRESULT BindAccount(AccountData& account_data, TMK::IAFS_BindContext* context);
    HRESULT AskForAccount(TMK::IAFS_BindContext* context, ComPtr<AccountData>& account_data);

    ComPtr<PluginContext> m_plugin;
    ComPtr<TMK::IAFS_Inst> m_afs_inst;
    mutable std::recursive_mutex m_monitors_lock;
    std::unordered_map<DWORD, ComPtr<TMK::ITMK_ProgressMon>, ThreadIdHash> m_progress_monitors;
    std::u16string m_user_text;
};
