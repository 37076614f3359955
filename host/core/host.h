// The host: everything that one run of it owns, and the life of the plug-in that it loads.
// Made and destroyed on the main thread; the members say themselves who may call them.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/base/main_thread.h"
#include "host/browser/browser.h"
#include "host/browser/window.h"
#include "host/cache/cache_store.h"
#include "host/core/documents.h"
#include "host/core/events.h"
#include "host/profile/accounts.h"
#include "host/profile/cipher.h"
#include "host/profile/profile.h"
#include "host/prompts/catalogue.h"
#include "host/prompts/task_dialog.h"
#include "host/prompts/terminal.h"
#include "host/signin/bind_context.h"
#include "host/signin/oauth.h"
#include "hostapi/itmk.h"

namespace host {

struct HostOptions {
    fs::path profile;
    Terminal* terminal = nullptr;  // outlives the host
    Warn warn;                     // things that went wrong without stopping anything
    std::optional<Credentials> credentials;
    fs::path browser_script;   // a script that stands in for the browser; empty for none
    fs::path browser_program;  // what shows the pages of a sign-in; empty for no browser at all
};

class Host {
public:
    // Throws a Failure when the profile can't be used.
    explicit Host(HostOptions options);
    // Unloads the plug-in if that is still loaded.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // Loads a plug-in library and drives it to the end of Init. Throws a Failure that names the step.
    void LoadPlugin(const fs::path& library);
    // Drives a plug-in that is there already.
    void StartPlugin(ComPtr<TMK::ITMK_Plugin> plugin);
    void UnloadPlugin();

    // The file system that the plug-in registered. Throws a Failure when it registered none.
    ComPtr<TMK::IAFS_FileSys> FileSystem() const;

    // Whose sign-in and whose documents the next calls are about.
    void SetSite(const std::u16string& url, const std::u16string& user);
    // Binds to an account and gives the site's name.
    HRESULT Bind(TMK::IAFS_AccountData* account, TMK::ITMK_CancelFlag* cancel,
                 ComPtr<TMK::IAFS_Name>& out_name);

    // The settings of the loaded plug-in; null when none is loaded.
    ComPtr<TMK::ITMK_Cab> PluginSettings();
    // A secret as the plug-in finds it in its trees.
    std::u16string EncryptForPlugin(const std::u16string& plain) const;
    std::optional<std::u16string> DecryptForPlugin(const std::u16string& stored) const;

    // The last sentence about a failure that had no other way to its caller; taking it empties it.
    void NoteMessage(const std::string& message);
    std::string TakeMessage();

    TMK::ITMK_Inst* instance() const { return m_instance.get(); }
    const Profile& profile() const { return m_profile; }
    Catalogue& catalogue() { return m_catalogue; }
    PromptDesk& prompts() { return m_prompts; }
    MainThread& main_thread() { return m_main_thread; }
    Documents& documents() { return m_documents; }
    EventServer& events() { return *m_events; }
    OAuth& oauth() { return m_oauth; }
    const Accounts& accounts() const { return m_accounts; }
    const std::shared_ptr<CacheStore>& cache() const { return m_cache; }
    Terminal& terminal() { return m_terminal; }

private:
    friend class Instance;
    friend class FileSystems;

    std::shared_ptr<SettingsTree> SettingsOf(TMK::ITMK_Plugin* plugin, bool create, std::string& out_file);
    HRESULT DoOAuth(TMK::ITMK_CabNode* parameters);
    void SaveSettings();
    std::unique_ptr<Browser> MakeBrowser(const HostOptions& options);

    Terminal& m_terminal;
    Warn m_warn;
    const std::optional<Credentials> m_credentials;
    Profile m_profile;
    std::shared_ptr<const Cipher> m_cipher;
    Catalogue m_catalogue;
    PromptDesk m_prompts;
    MainThread m_main_thread;
    Windows m_windows{m_main_thread};
    const std::unique_ptr<Browser> m_browser;  // null: there is none
    Documents m_documents;
    ComPtr<EventServer> m_events;
    OAuth m_oauth;
    Accounts m_accounts;
    std::shared_ptr<CacheStore> m_cache;
    ComPtr<TMK::ITMK_Inst> m_instance;
    ComPtr<TMK::IAFS_Inst> m_file_systems;
    ComPtr<TMK::IAUX_Inst> m_aux;
    ComPtr<IUnknown> m_images;
    ComPtr<IUnknown> m_user_interface;

    mutable std::mutex m_mutex;
    std::map<std::string, std::shared_ptr<SettingsTree>> m_settings;  // by file
    std::map<std::u16string, DWORD> m_ids;
    std::vector<ComPtr<TMK::IAFS_FileSys>> m_registered;
    std::u16string m_site;
    std::u16string m_user;
    std::string m_message;

    void* m_library = nullptr;
    ComPtr<TMK::ITMK_Plugin> m_plugin;
    std::u16string m_plugin_id;
};

}  // namespace host
