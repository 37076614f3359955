#include "host/core/file_systems.h"

#include <algorithm>

#include "host/base/give.h"
#include "host/profile/settings_tree.h"

namespace host {

namespace {

constexpr DWORD kChoiceCanceled = 2;

constexpr std::string_view kDialogTemplate = R"(<CabTemplate><ItemSet id="Dialog">
<Item id="Flags" type="Int"/><Item id="Title" type="String"/><Item id="ActionBtnTitle" type="String"/>
<Item id="CancelBtnTitle" type="String"/><Item id="SettingsBtnTitle" type="String"/>
<Item id="FileFilters" type="String"/><Item id="FileFilterIndex" type="Int"/>
<Item id="DefaultExt" type="String"/><Item id="InitialPathName" type="IUnknown"/>
<Item id="InitialFileName" type="String"/><Item id="SettingsBtnCallbacks" type="IUnknown"/>
</ItemSet><Root id="Dialog" itemSet="Dialog"/></CabTemplate>)";

ComPtr<TMK::ITMK_Cab> MakeDialogSettings() {
    const auto tree = std::make_shared<SettingsTree>();
    tree->SetTemplate(kDialogTemplate, u"Dialog");
    return tree->View();
}

class DialogParameters final : public Object<TMK::IAFS_DlgParams> {
public:
    HRESULT get_Settings(TMK::ITMK_Cab** out_settings) override { return m_settings.CopyTo(out_settings); }

private:
    ComPtr<TMK::ITMK_Cab> m_settings = MakeDialogSettings();
};

}  // namespace

ComPtr<TMK::IAFS_FileSys> FileSystems::First() const {
    const std::lock_guard lock(m_mutex);
    if (m_registered.empty()) throw Failure(E_FAIL, "the plug-in has no file system");
    return m_registered.front();
}

void FileSystems::Clear() {
    std::vector<ComPtr<TMK::IAFS_FileSys>> released;
    const std::lock_guard lock(m_mutex);
    released.swap(m_registered);
}

HRESULT FileSystems::RegisterFileSys(TMK::IAFS_FileSys* file_system) {
    if (!file_system) return E_INVALIDARG;
    return Guarded([&] {
        const std::lock_guard lock(m_mutex);
        m_registered.emplace_back(file_system);
        return S_OK;
    });
}

HRESULT FileSystems::UnregisterFileSys(TMK::IAFS_FileSys* file_system) {
    ComPtr<TMK::IAFS_FileSys> released;
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_registered.begin(), m_registered.end(),
                                    [&](const auto& known) { return known.get() == file_system; });
    if (found == m_registered.end()) return E_INVALIDARG;
    released = std::move(*found);
    m_registered.erase(found);
    return S_OK;
}

HRESULT FileSystems::CreateFileCachesMap(TMK::IAFS_FileSys*, TMK::IAFS_FilesCache** out_cache) {
    return Give(out_cache, [&] { return m_make_cache(); });
}

HRESULT FileSystems::CreateDlgDefaultParams(DWORD, TMK::IAFS_DlgParams** out_parameters) {
    return GiveNew<DialogParameters>(out_parameters);
}

// This host has no dialog to choose a folder.
HRESULT FileSystems::ShowDlg(DWORD, TMK::IAFS_Name*, TMK::IAFS_DlgParams*, HWND,
                             TMK::IAFS_NamesCollection** out_names, DWORD* out_user_choice) {
    if (!out_names || !out_user_choice) return E_POINTER;
    *out_names = nullptr;
    *out_user_choice = kChoiceCanceled;
    return E_NOTIMPL;
}

}  // namespace host
