#include "tests/windows/host/windows_host.h"

#include "host/base/failure.h"
#include "host/core/aux_extension.h"
#include "host/core/instance.h"
#include "host/core/plugin_id.h"
#include "host/core/user_interface.h"
#include "host/profile/settings_tree.h"
#include "host/signin/bind_context.h"
#include "host/workbench/images.h"
#include "tests/windows/host/plain_cache.h"
#include "tests/windows/support/library.h"
#include "tests/windows/support/wine.h"

namespace windows_host {

using host::Failure;

namespace {

std::function<void(const std::string&)> WarningsTo(host::FrontEnd& front_end) {
    return [&front_end](const std::string& line) { front_end.Warn(line); };
}

}  // namespace

WindowsHost::WindowsHost(host::FrontEnd& front_end, fs::path folder)
    : m_front_end(front_end),
      m_folder(std::move(folder)),
      m_cipher(std::make_shared<const host::Cipher>(m_folder / "key")),
      m_prompts(front_end, WarningsTo(front_end)),
      m_workbench(m_catalogue,
                  [&front_end](auto delay, auto work) { front_end.RunAfter(delay, std::move(work)); }),
      m_file_systems(host::Make<host::FileSystems>([this] { return MakePlainCache(m_folder); })),
      m_dialogs(front_end.main_thread(), front_end.windows(), m_workbench, nullptr),
      m_progress(
          front_end.main_thread(),
          [&front_end](auto delay, auto work) { front_end.RunAfter(delay, std::move(work)); }, nullptr),
      m_aux(host::MakeAuxExtension(m_cipher, m_progress, WarningsTo(front_end))),
      m_images(host::MakeImageExtension()),
      m_user_interface(host::MakeUserInterfaceExtension(m_dialogs, m_workbench, WarningsTo(front_end))),
      m_instance(host::MakeInstance(*this)) {
    fs::create_directories(m_folder);
}

WindowsHost::~WindowsHost() {
    UnloadPlugin();
    m_front_end.main_thread().Stop();
}

void WindowsHost::LoadPlugin(const fs::path& library) {
    m_library = testing_support::LoadLibraryFile(library);
    if (!m_library) throw Failure(HRESULT_FROM_WIN32(GetLastError()), "can't load " + library.string());
    testing_support::MendCanonicalUrls(m_library);
    const auto get_plugin =
        reinterpret_cast<TMK::TMKE_GetPluginFn>(testing_support::FunctionOf(m_library, "TMKE_GetPlugin"));
    if (!get_plugin || FAILED(get_plugin(m_plugin.put())))
        throw Failure(E_NOINTERFACE, library.string() + " is no plug-in of this host");
    StartPlugin();
}

void WindowsHost::StartPlugin() {
    m_plugin_id = host::IdOf(m_plugin.get());
    const auto check = [](HRESULT result, const char* step) {
        if (FAILED(result)) throw Failure(result, std::string(step) + " failed");
    };
    check(m_plugin->Setup(m_instance.get()), "Setup");
    check(m_plugin->RegisterExts(), "RegisterExts");
    check(m_plugin->FinalizeRegistering(), "FinalizeRegistering");
    check(m_plugin->Init(), "Init");
}

void WindowsHost::UnloadPlugin() {
    m_dialogs.DestroyAll();
    m_front_end.windows().DestroyAll();
    if (m_plugin) m_plugin->Unload();
    m_plugin.reset();
    m_file_systems->Clear();
    m_workbench.ForgetPlugIns();
    if (m_library) testing_support::FreeLibraryFile(std::exchange(m_library, nullptr));
}

HRESULT WindowsHost::Bind(TMK::IAFS_AccountData* account, TMK::ITMK_CancelFlag* cancel,
                          ComPtr<TMK::IAFS_Name>& out_name) {
    return FileSystem()->BindToObject(account, NewBindContext().get(), 0, nullptr, cancel, out_name.put());
}

std::u16string WindowsHost::EncryptForPlugin(const std::u16string& plain) const {
    if (plain.empty()) return {};
    const auto key = host::MakeCryptKey(m_plugin_id);
    return host::ToUtf16(m_cipher->Encrypt(host::PurposeOfKey(key.get()), host::ToUtf8(plain)));
}

IUnknown* WindowsHost::FindExtension(std::u16string_view id) {
    if (id == u"AFS") return m_file_systems.get();
    if (id == u"AUX") return m_aux.get();
    if (id == u"RGC") return m_images.get();
    if (id == u"UIX") return m_user_interface.get();
    return nullptr;
}

ComPtr<TMK::ITMK_Cab> WindowsHost::OpenSettings(TMK::ITMK_Plugin* plugin, bool create) {
    const std::lock_guard lock(m_mutex);
    std::shared_ptr<host::SettingsTree>& tree = m_settings[host::IdOf(plugin)];
    if (!tree && !create) return nullptr;
    if (!tree) tree = std::make_shared<host::SettingsTree>();
    return tree->View();
}

ComPtr<TMK::IAFS_BindContext> WindowsHost::NewBindContext() {
    return host::MakeBindContext(m_front_end, std::nullopt);
}

}  // namespace windows_host
