#include "host/core/host.h"

#include <dlfcn.h>

#include <ctime>

#include "host/base/failure.h"
#include "host/cache/files_cache.h"
#include "host/cache/upkeep.h"
#include "host/core/aux_extension.h"
#include "host/core/instance.h"
#include "host/core/user_interface.h"
#include "host/workbench/images.h"
#include "platform/sign_in_notes.h"

namespace host {

Host::Host(FrontEnd& front_end, fs::path profile, std::optional<Credentials> credentials)
    : m_front_end(front_end),
      m_note([this](const std::string& line) { NoteMessage(line); }),
      m_profile(std::move(profile), [&front_end](const std::string& line) { front_end.Warn(line); }),
      m_cipher(std::make_shared<const Cipher>(m_profile.file("key"))),
      m_prompts(front_end, m_note),
      m_browser(front_end.MakeBrowser(m_profile, m_cipher, m_note)),
      m_workbench(m_catalogue,
                  [&front_end](auto delay, auto work) { front_end.RunAfter(delay, std::move(work)); }),
      m_languages(m_catalogue, m_workbench),
      m_oauth(m_profile, m_cipher, front_end),
      m_sign_in(front_end, m_oauth, std::move(credentials), m_note),
      m_accounts(m_profile, m_cipher),
      m_cache(std::make_shared<CacheStore>(m_profile.file("cache"), m_note)),
      m_settings(m_profile),
      m_instance(MakeInstance(*this)),
      m_file_systems(Make<FileSystems>([this] { return MakeFilesCache(m_cache); })),
      m_dialogs(front_end.main_thread(), front_end.windows(), m_workbench, front_end.dialog_views()),
      m_progress(
          front_end.main_thread(),
          [&front_end](auto delay, auto work) { front_end.RunAfter(delay, std::move(work)); },
          front_end.dialog_views()),
      m_aux(MakeAuxExtension(m_cipher, m_progress,
                             [&front_end](const std::string& line) { front_end.Warn(line); })),
      m_images(MakeImageExtension()),
      m_user_interface(MakeUserInterfaceExtension(m_dialogs, m_workbench, m_note)) {
    platform::SetSignInNotes([&front_end](const std::string& line) { front_end.Warn(line); });
}

Host::~Host() {
    platform::SetSignInNotes(nullptr);
    Guarded([&] {
        UnloadPlugin();
        return S_OK;
    });
    Guarded([&] {
        RemoveLeftovers(m_profile, *m_cache);
        ApplyLimits(*m_cache, CacheLimits::Load(m_profile), std::time(nullptr));
        return S_OK;
    });
    m_front_end.main_thread().Stop();
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
    m_plugin_id = IdOf(m_plugin.get());
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
    m_dialogs.DestroyAll();
    m_front_end.windows().DestroyAll();
    if (m_plugin) {
        m_plugin->Unload();
        m_plugin.reset();
    }
    m_file_systems->Clear();
    m_workbench.ForgetPlugIns();
    m_settings.Save();
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // A sanitizer needs the loaded code to print symbols.
    if (m_library) dlclose(std::exchange(m_library, nullptr));
#endif
}

void Host::SetSite(const std::u16string& url, const std::u16string& user) {
    m_sign_in.SetPlace(url, user);
    m_cache->SetAccount(ToUtf8(url));
}

HRESULT Host::Bind(TMK::IAFS_AccountData* account, TMK::ITMK_CancelFlag* cancel,
                   ComPtr<TMK::IAFS_Name>& out_name) {
    SetSite(Accounts::UrlOf(account), Accounts::UserOf(account));
    return FileSystem()->BindToObject(account, NewBindContext().get(), 0, nullptr, cancel, out_name.put());
}

HRESULT Host::SignIn(TMK::ITMK_CabNode* parameters) {
    if (!main_thread().IsCurrent()) return m_sign_in.PutToken(parameters);
    // What a person is shown meanwhile needs the main thread.
    HRESULT result = E_FAIL;
    main_thread().RunWorker([&, place = m_sign_in.place()] {
        m_sign_in.SetPlace(place);
        result = m_sign_in.PutToken(parameters);
    });
    return result;
}

IUnknown* Host::FindExtension(std::u16string_view id) {
    if (id == u"AFS") return m_file_systems.get();
    if (id == u"AUX") return m_aux.get();
    if (id == u"RGC") return m_images.get();
    if (id == u"UIX") return m_user_interface.get();
    return nullptr;
}

ComPtr<TMK::ITMK_Cab> Host::OpenSettings(TMK::ITMK_Plugin* plugin, bool create) {
    return m_settings.Open(plugin, create);
}

ComPtr<TMK::ITMK_Cab> Host::PluginSettings() {
    return m_plugin ? m_settings.Open(m_plugin.get(), true) : nullptr;
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

}  // namespace host
