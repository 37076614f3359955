// The host: everything that one run of it owns, and the life of the plug-in that it loads.
// Made and destroyed on the main thread; loading and unloading happens there too, the rest is for any thread.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/cache/cache_store.h"
#include "host/core/file_systems.h"
#include "host/core/front_end.h"
#include "host/core/plugin_services.h"
#include "host/core/plugin_settings.h"
#include "host/core/plugin_sign_in.h"
#include "host/dialogs/dialogs.h"
#include "host/dialogs/progress.h"
#include "host/profile/accounts.h"
#include "host/profile/cipher.h"
#include "host/profile/profile.h"
#include "host/prompts/catalogue.h"
#include "host/prompts/prompt_desk.h"
#include "host/signin/oauth.h"
#include "host/workbench/languages.h"
#include "host/workbench/workbench.h"
#include "hostapi/itmk.h"

namespace host {

class Host final : public PluginServices {
public:
    // `credentials` are those that were given in advance. The front end outlives the host. Throws a Failure
    // when the profile can't be used.
    Host(FrontEnd& front_end, fs::path profile, std::optional<Credentials> credentials = {});
    // Unloads the plug-in if that is still loaded.
    ~Host() override;
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // Loads a plug-in library and drives it to the end of Init. Throws a Failure that names the step.
    void LoadPlugin(const fs::path& library);
    // Starts a plug-in object that exists already.
    void StartPlugin(ComPtr<TMK::ITMK_Plugin> plugin);
    void UnloadPlugin();

    // The file system that the plug-in registered. Throws a Failure when it registered none.
    ComPtr<TMK::IAFS_FileSys> FileSystem() const { return m_file_systems->First(); }

    // The site and user of this thread's next sign-ins and documents.
    void SetSite(const std::u16string& url, const std::u16string& user);
    // Binds to an account and gives the site's name.
    HRESULT Bind(TMK::IAFS_AccountData* account, TMK::ITMK_CancelFlag* cancel,
                 ComPtr<TMK::IAFS_Name>& out_name);

    // What `change` sets in the settings of plug-ins is in use for this run and never stored.
    void ChangeSettingsForThisRun(const std::function<void()>& change) {
        m_settings.ChangeForThisRun(change);
    }
    // The settings of the loaded plug-in; null when none is loaded.
    ComPtr<TMK::ITMK_Cab> PluginSettings();
    // A secret as the plug-in stores it in its trees.
    std::u16string EncryptForPlugin(const std::u16string& plain) const;
    std::optional<std::u16string> DecryptForPlugin(const std::u16string& stored) const;

    // Returns the noted message and clears it.
    std::string TakeMessage();

    TMK::ITMK_Inst* instance() const { return m_instance.get(); }
    MainThread& main_thread() { return m_front_end.main_thread(); }
    const Profile& profile() const { return m_profile; }
    const Accounts& accounts() const { return m_accounts; }
    const std::shared_ptr<CacheStore>& cache() const { return m_cache; }
    OAuth& oauth() { return m_oauth; }
    Languages& languages() { return m_languages; }
    Dialogs& dialogs() { return m_dialogs; }

    IUnknown* FindExtension(std::u16string_view id) override;
    ComPtr<TMK::ITMK_Cab> OpenSettings(TMK::ITMK_Plugin* plugin, bool create) override;
    ComPtr<TMK::IAFS_BindContext> NewBindContext() override { return m_sign_in.NewBindContext(); }
    HRESULT SignIn(TMK::ITMK_CabNode* parameters) override;
    FrontEnd& front_end() override { return m_front_end; }
    Browser* browser() override { return m_browser.get(); }
    Catalogue& catalogue() override { return m_catalogue; }
    PromptDesk& prompts() override { return m_prompts; }
    Workbench& workbench() override { return m_workbench; }
    Documents& documents() { return m_workbench.documents(); }
    void NoteMessage(const std::string& message) override;

private:
    FrontEnd& m_front_end;
    std::mutex m_mutex;
    std::string m_message;
    const std::function<void(const std::string&)> m_note;  // NoteMessage
    Profile m_profile;
    std::shared_ptr<const Cipher> m_cipher;
    Catalogue m_catalogue;
    PromptDesk m_prompts;
    const std::unique_ptr<Browser> m_browser;  // null for none
    Workbench m_workbench;
    Languages m_languages;
    OAuth m_oauth;
    PluginSignIn m_sign_in;
    Accounts m_accounts;
    std::shared_ptr<CacheStore> m_cache;
    host::PluginSettings m_settings;
    ComPtr<TMK::ITMK_Inst> m_instance;
    ComPtr<FileSystems> m_file_systems;
    Dialogs m_dialogs;
    const ProgressMaker m_progress;
    ComPtr<TMK::IAUX_Inst> m_aux;
    ComPtr<IUnknown> m_images;
    ComPtr<IUnknown> m_user_interface;

    void* m_library = nullptr;
    ComPtr<TMK::ITMK_Plugin> m_plugin;
    std::u16string m_plugin_id;
};

}  // namespace host
