// The host and the life of its plug-in.
// Main thread, unless the header says otherwise.
#include "host/core/host.h"

#include <dlfcn.h>

#include "host/base/failure.h"
#include "host/browser/scripted_browser.h"
#include "host/browser/window_browser.h"
#include "host/core/aux_extension.h"
#include "host/core/images.h"
#include "host/core/instance.h"

namespace host {

namespace {

std::u16string PluginId(TMK::ITMK_Plugin* plugin) {
    GUID id{};
    if (!plugin || FAILED(plugin->get__GUID(&id))) throw Failure(E_INVALIDARG, "a plug-in has no id");
    return ToUtf16(ToHex(&id, sizeof(id)));
}

}  // namespace

Host::Host(HostOptions options)
    : m_terminal(*options.terminal),
      m_warn(std::move(options.warn)),
      m_credentials(std::move(options.credentials)),
      m_profile(std::move(options.profile), m_warn),
      m_cipher(std::make_shared<const Cipher>(m_profile.file("key"))),
      m_prompts(m_terminal, [this](const std::string& line) { NoteMessage(line); }),
      m_browser(MakeBrowser(options)),
      m_events(Make<EventServer>()),
      m_oauth(m_profile, m_cipher, m_terminal),
      m_accounts(m_profile, m_cipher),
      m_cache(std::make_shared<CacheStore>(m_profile.file("cache"),
                                           [this](const std::string& line) { NoteMessage(line); })),
      m_instance(MakeInstance(*this)),
      m_file_systems(MakeFileSystems(*this)),
      m_aux(MakeAuxExtension(m_cipher, m_warn)),
      m_images(MakeImageExtension()),
      m_user_interface(MakeUserInterfaceExtension(m_windows)) {}

std::unique_ptr<Browser> Host::MakeBrowser(const HostOptions& options) {
    if (!options.browser_script.empty()) return LoadScriptedBrowser(m_main_thread, options.browser_script);
    if (options.browser_program.empty()) return nullptr;
    return MakeWindowBrowser(m_main_thread, options.browser_program, CookieStore(m_profile, m_cipher),
                             [this](const std::string& line) { NoteMessage(line); });
}

Host::~Host() {
    Guarded([&] {
        UnloadPlugin();
        return S_OK;
    });
    m_main_thread.Stop();
}

void Host::LoadPlugin(const fs::path& library) {
    m_library = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_library) {
        const char* reason = dlerror();
        throw Failure(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND),
                      "can't load the plug-in: " + std::string(reason ? reason : library.string()));
    }
    const auto get_plugin = reinterpret_cast<TMK::TMKE_GetPluginFn>(dlsym(m_library, "TMKE_GetPlugin"));
    if (!get_plugin) throw Failure(E_NOINTERFACE, library.string() + " is no plug-in of this host");
    ComPtr<TMK::ITMK_Plugin> plugin;
    const HRESULT result = get_plugin(plugin.put());
    if (FAILED(result) || !plugin)
        throw Failure(FAILED(result) ? result : E_FAIL, "the plug-in can't be made");
    StartPlugin(std::move(plugin));
}

void Host::StartPlugin(ComPtr<TMK::ITMK_Plugin> plugin) {
    m_plugin = std::move(plugin);
    m_plugin_id = PluginId(m_plugin.get());
    const auto check = [&](HRESULT result, const char* step) {
        if (SUCCEEDED(result)) return;
        UnloadPlugin();
        throw Failure(result, std::string("the plug-in can't be started: ") + step + " failed");
    };
    check(m_plugin->Setup(m_instance.get()), "Setup");
    check(m_plugin->RegisterExts(), "RegisterExts");
    check(m_plugin->FinalizeRegistering(), "FinalizeRegistering");
    check(m_plugin->Init(), "Init");
}

void Host::UnloadPlugin() {
    m_windows.DestroyAll();
    if (m_plugin) {
        m_plugin->Unload();
        m_plugin.reset();
    }
    std::vector<ComPtr<TMK::IAFS_FileSys>> released;
    {
        const std::lock_guard lock(m_mutex);
        released.swap(m_registered);
    }
    released.clear();
    m_events->Clear();
    SaveSettings();
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // A sanitizer needs the library's code to name what it found there.
    if (m_library) dlclose(std::exchange(m_library, nullptr));
#endif
}

ComPtr<TMK::IAFS_FileSys> Host::FileSystem() const {
    const std::lock_guard lock(m_mutex);
    if (m_registered.empty()) throw Failure(E_FAIL, "the plug-in has no file system");
    return m_registered.front();
}

void Host::SetSite(const std::u16string& url, const std::u16string& user) {
    {
        const std::lock_guard lock(m_mutex);
        m_site = url;
        m_user = user;
    }
    m_cache->SetAccount(ToUtf8(url));
}

HRESULT Host::Bind(TMK::IAFS_AccountData* account, TMK::ITMK_CancelFlag* cancel,
                   ComPtr<TMK::IAFS_Name>& out_name) {
    Bstr user;
    account->get_UserName(user.put());
    SetSite(Accounts::UrlOf(account), std::u16string(user.view()));
    const auto context =
        MakeBindContext(m_terminal, m_credentials, [this](const std::string& why) { NoteMessage(why); });
    return FileSystem()->BindToObject(account, context.get(), 0, nullptr, cancel, out_name.put());
}

std::shared_ptr<SettingsTree> Host::SettingsOf(TMK::ITMK_Plugin* plugin, bool create, std::string& out_file) {
    out_file = "settings-" + ToUtf8(PluginId(plugin)) + ".json";
    const std::lock_guard lock(m_mutex);
    const auto found = m_settings.find(out_file);
    if (found != m_settings.end()) return found->second;
    if (!create && !fs::exists(m_profile.file(out_file))) return nullptr;
    return m_settings[out_file] = m_profile.LoadTree(out_file);
}

ComPtr<TMK::ITMK_Cab> Host::PluginSettings() {
    if (!m_plugin) return nullptr;
    ComPtr<TMK::ITMK_Cab> settings;
    m_instance->GetPluginSettings(m_plugin.get(), VARIANT_TRUE, settings.put());
    return settings;
}

void Host::SaveSettings() {
    std::map<std::string, std::shared_ptr<SettingsTree>> settings;
    {
        const std::lock_guard lock(m_mutex);
        settings = m_settings;
    }
    for (const auto& [file, tree] : settings) {
        try {
            m_profile.SaveTree(*tree, file);
        } catch (const Failure& failure) {
            m_profile.warn(failure.what());
        }
    }
}

std::u16string Host::EncryptForPlugin(const std::u16string& plain) const {
    if (plain.empty()) return {};
    const auto key = MakeCryptKey(m_plugin_id);
    return ToUtf16(m_cipher->Encrypt(PurposeOfKey(key.get()), ToUtf8(plain)));
}

std::optional<std::u16string> Host::DecryptForPlugin(const std::u16string& stored) const {
    try {
        const auto key = MakeCryptKey(m_plugin_id);
        return ToUtf16(m_cipher->Decrypt(PurposeOfKey(key.get()), ToUtf8(stored)));
    } catch (const Failure&) {
        return std::nullopt;
    }
}

void Host::NoteMessage(const std::string& message) {
    const std::lock_guard lock(m_mutex);
    m_message = message;
}

std::string Host::TakeMessage() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_message, {});
}

HRESULT Host::DoOAuth(TMK::ITMK_CabNode* parameters) {
    const auto read = [&](LPCWSTR id) {
        ComPtr<TMK::ITMK_CabNode> item;
        parameters->get_Item(id, item.put());
        return ToUtf8(StringOf(item.get()));
    };
    OAuthRequest request{read(u"authority"), read(u"clientID"), read(u"scope"), {}, {}};
    std::string site;
    {
        const std::lock_guard lock(m_mutex);
        site = request.site = ToUtf8(m_site);
        request.user = ToUtf8(m_user);
    }
    ComPtr<TMK::ITMK_CabNode> token;
    parameters->get_Item(u"tokenData.accessToken", token.put());
    if (!token) return E_INVALIDARG;
    try {
        if (const auto own = m_oauth.FindOverride(site)) {
            if (!own->authority.empty()) request.authority = own->authority;
            if (!own->client_id.empty()) request.client_id = own->client_id;
            request.flow = own->flow;
            request.redirect = own->redirect;
        }
        if (request.authority.empty() || request.scope.empty()) return E_INVALIDARG;
        return token->put_v(Variant(std::u16string_view(ToUtf16(m_oauth.GetToken(request)))).get());
    } catch (const Failure& failure) {
        const bool was_refused = m_oauth.HasTokenInUse(site);
        NoteMessage((was_refused ? "the server refuses the present sign-in, and a new one failed: " : "") +
                    std::string(failure.what()));
        throw;
    }
}

}  // namespace host
