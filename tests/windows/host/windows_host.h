// The host of the tests on Windows: the parts of the reference host that need no other system, with documents
// and settings in plain files. Made, loaded and unloaded on the main thread, the rest is for any thread.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "host/core/file_systems.h"
#include "host/core/front_end.h"
#include "host/core/plugin_services.h"
#include "host/dialogs/dialogs.h"
#include "host/dialogs/progress.h"
#include "host/profile/cipher.h"
#include "host/prompts/catalogue.h"
#include "host/prompts/prompt_desk.h"
#include "host/workbench/workbench.h"

namespace windows_host {

namespace fs = std::filesystem;

class WindowsHost final : public host::PluginServices {
public:
    // The front end outlives the host.
    WindowsHost(host::FrontEnd& front_end, fs::path folder);
    ~WindowsHost() override;
    WindowsHost(const WindowsHost&) = delete;
    WindowsHost& operator=(const WindowsHost&) = delete;

    // Loads a library and drives its plug-in to the end of Init. Throws a Failure.
    void LoadPlugin(const fs::path& library);
    void UnloadPlugin();

    ComPtr<TMK::IAFS_FileSys> FileSystem() const { return m_file_systems->First(); }
    // Binds to an account and gives the site's name.
    HRESULT Bind(TMK::IAFS_AccountData* account, TMK::ITMK_CancelFlag* cancel,
                 ComPtr<TMK::IAFS_Name>& out_name);
    ComPtr<TMK::ITMK_Cab> PluginSettings() { return OpenSettings(m_plugin.get(), true); }
    // A secret as the plug-in stores it in its trees.
    std::u16string EncryptForPlugin(const std::u16string& plain) const;
    host::Documents& documents() { return m_workbench.documents(); }
    // The library as the system knows it; null when none is loaded.
    void* library() const { return m_library; }

    IUnknown* FindExtension(std::u16string_view id) override;
    ComPtr<TMK::ITMK_Cab> OpenSettings(TMK::ITMK_Plugin* plugin, bool create) override;
    ComPtr<TMK::IAFS_BindContext> NewBindContext() override;
    HRESULT SignIn(TMK::ITMK_CabNode*) override { return E_NOTIMPL; }
    host::FrontEnd& front_end() override { return m_front_end; }
    host::Browser* browser() override { return nullptr; }
    host::Catalogue& catalogue() override { return m_catalogue; }
    host::PromptDesk& prompts() override { return m_prompts; }
    host::Workbench& workbench() override { return m_workbench; }
    void NoteMessage(const std::string&) override {}

private:
    void StartPlugin();

    host::FrontEnd& m_front_end;
    const fs::path m_folder;
    std::shared_ptr<const host::Cipher> m_cipher;
    host::Catalogue m_catalogue;
    host::PromptDesk m_prompts;
    host::Workbench m_workbench;
    std::mutex m_mutex;
    std::map<std::u16string, std::shared_ptr<host::SettingsTree>> m_settings;  // by plug-in
    ComPtr<host::FileSystems> m_file_systems;
    host::Dialogs m_dialogs;
    const host::ProgressMaker m_progress;
    ComPtr<TMK::IAUX_Inst> m_aux;
    ComPtr<IUnknown> m_images;
    ComPtr<IUnknown> m_user_interface;
    ComPtr<TMK::ITMK_Inst> m_instance;

    void* m_library = nullptr;
    ComPtr<TMK::ITMK_Plugin> m_plugin;
    std::u16string m_plugin_id;
};

}  // namespace windows_host
