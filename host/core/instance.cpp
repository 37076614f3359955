// The instance object and the extension "AFS".
// Any thread.
#include "host/core/instance.h"

#include <algorithm>

#include "host/base/failure.h"
#include "host/base/object.h"
#include "host/browser/web_view.h"
#include "host/cache/files_cache.h"
#include "host/core/aux_extension.h"
#include "host/core/host.h"
#include "host/core/images.h"

namespace host {

namespace {

constexpr std::string_view kOAuthTemplate = R"(<CabTemplate>
<ItemSet id="OAuthDict">
 <Item id="authMethod" type="Int"/>
 <Item id="clientID" type="String"/>
 <Item id="authority" type="String"/>
 <Item id="scope" type="String"/>
 <Item id="redirectURI" type="String"/>
 <Item id="tokenData" type="Dictionary" itemSet="TokenDict"/>
</ItemSet>
<ItemSet id="TokenDict"><Item id="accessToken" type="String"/></ItemSet>
<Root id="OAuth" itemSet="OAuthDict"/>
</CabTemplate>)";

class DialogParameters final : public Object<TMK::IAFS_DlgParams> {
public:
    HRESULT get_Settings(TMK::ITMK_Cab** out_settings) override { return m_settings.copy_to(out_settings); }

private:
    ComPtr<TMK::ITMK_Cab> m_settings = std::make_shared<SettingsTree>()->View();
};

}  // namespace

class FileSystems final : public Object<TMK::IAFS_Inst> {
public:
    explicit FileSystems(Host& host) : m_host(host) {}

    HRESULT RegisterFileSys(TMK::IAFS_FileSys* file_system) override {
        if (!file_system) return E_INVALIDARG;
        return Guarded([&] {
            const std::lock_guard lock(m_host.m_mutex);
            m_host.m_registered.emplace_back(file_system);
            return S_OK;
        });
    }
    HRESULT UnregisterFileSys(TMK::IAFS_FileSys* file_system) override {
        ComPtr<TMK::IAFS_FileSys> released;
        const std::lock_guard lock(m_host.m_mutex);
        auto& all = m_host.m_registered;
        const auto found =
            std::find_if(all.begin(), all.end(), [&](const auto& f) { return f.get() == file_system; });
        if (found == all.end()) return E_INVALIDARG;
        released = std::move(*found);
        all.erase(found);
        return S_OK;
    }
    HRESULT CreateFileCachesMap(TMK::IAFS_FileSys*, TMK::IAFS_FilesCache** out_cache) override {
        if (!out_cache) return E_POINTER;
        *out_cache = nullptr;
        return Guarded([&] {
            *out_cache = MakeFilesCache(m_host.m_cache).detach();
            return S_OK;
        });
    }
    HRESULT CreateDlgDefaultParams(DWORD, TMK::IAFS_DlgParams** out_parameters) override {
        if (!out_parameters) return E_POINTER;
        *out_parameters = nullptr;
        return Guarded([&] {
            *out_parameters = Make<DialogParameters>().detach();
            return S_OK;
        });
    }
    HRESULT ShowDlg(DWORD, TMK::IAFS_Name*, TMK::IAFS_DlgParams*, HWND, TMK::IAFS_NamesCollection** out_names,
                    DWORD* out_user_choice) override {
        if (!out_names || !out_user_choice) return E_POINTER;
        *out_names = nullptr;
        *out_user_choice = 2;
        return E_NOTIMPL;  // there is no window on a terminal
    }

private:
    Host& m_host;
};

class Instance final : public Object<TMK::ITMK_Inst> {
public:
    explicit Instance(Host& host) : m_host(host) {}

    HRESULT GetExtension(LPCWSTR id, IUnknown** out_extension) override {
        if (!out_extension) return E_POINTER;
        *out_extension = nullptr;
        const std::u16string name = FromWide(id);
        const auto give = [&](IUnknown* extension) {
            extension->AddRef();
            *out_extension = extension;
            return S_OK;
        };
        if (name == u"AFS") return give(m_host.m_file_systems.get());
        if (name == u"AUX") return give(m_host.m_aux.get());
        if (name == u"RGC") return give(m_host.m_images.get());
        if (name == u"UIX") return give(m_host.m_user_interface.get());
        return E_NOINTERFACE;
    }

    HRESULT GetPluginSettings(TMK::ITMK_Plugin* plugin, VARIANT_BOOL create,
                              TMK::ITMK_Cab** out_settings) override {
        if (!out_settings) return E_POINTER;
        *out_settings = nullptr;
        if (!plugin) return E_INVALIDARG;
        return Guarded([&] {
            std::string file;
            const auto tree = m_host.SettingsOf(plugin, create != VARIANT_FALSE, file);
            if (!tree) return S_FALSE;
            // What was changed through this view is stored when the view goes.
            *out_settings = tree->View([&host = m_host, tree, file] {
                                    try {
                                        host.m_profile.SaveTree(*tree, file);
                                    } catch (const Failure& failure) {
                                        host.m_profile.warn(failure.what());
                                    }
                                })
                                .detach();
            return S_OK;
        });
    }

    HRESULT Str2ID(LPCWSTR name, VARIANT_BOOL create, DWORD* out_id) override {
        if (!out_id) return E_POINTER;
        *out_id = 0;
        if (!name) return E_INVALIDARG;
        return Guarded([&] {
            const std::lock_guard lock(m_host.m_mutex);
            const auto found = m_host.m_ids.find(name);
            if (found != m_host.m_ids.end()) {
                *out_id = found->second;
                return S_OK;
            }
            if (create == VARIANT_FALSE) return S_FALSE;
            *out_id = m_host.m_ids[name] = static_cast<DWORD>(m_host.m_ids.size() + 1);
            return S_OK;
        });
    }

    HRESULT LoadLocalization(IStream* catalogue) override {
        if (!catalogue) return E_INVALIDARG;
        return Guarded([&] {
            m_host.m_catalogue.Load(ReadStream(catalogue));
            return S_OK;
        });
    }

    HRESULT RegisterInfoBarType(LPCWSTR id, LPCWSTR, LPCWSTR, DWORD, DWORD, TMK::IUIX_Icon*) override {
        return id ? S_OK : E_INVALIDARG;  // a terminal has no bar to show it in
    }

    HRESULT GetLocalStr(LPCWSTR id, BSTR* out_text) override {
        if (!out_text) return E_POINTER;
        *out_text = nullptr;
        if (!id) return E_INVALIDARG;
        return Guarded([&] {
            const auto text = m_host.m_catalogue.Find(id);
            return text ? GiveString(out_text, *text) : E_FAIL;
        });
    }

    HRESULT CreateStdBindContext(TMK::IAFS_BindContext** out_context) override {
        if (!out_context) return E_POINTER;
        *out_context = nullptr;
        return Guarded([&] {
            *out_context =
                MakeBindContext(m_host.m_terminal, m_host.m_credentials, [this](const std::string& why) {
                    m_host.NoteMessage(why);
                }).detach();
            return S_OK;
        });
    }

    HRESULT RunOnMainThread(TMK::ITMK_ThreadSafeCallback* callback, DWORD, VARIANT_BOOL wait) override {
        if (!callback) return E_INVALIDARG;
        return Guarded([&] {
            const ComPtr<TMK::ITMK_ThreadSafeCallback> held(callback);
            return m_host.m_main_thread.Run([held] { return held->Call(); }, wait != VARIANT_FALSE);
        });
    }

    HRESULT GetCryptKey(TMK::ITMK_Plugin* plugin, VARIANT_BOOL, TMK::ITMK_CryptKey** out_key) override {
        if (!out_key) return E_POINTER;
        *out_key = nullptr;
        if (!plugin) return E_INVALIDARG;
        return Guarded([&] {
            GUID id{};
            if (const HRESULT result = plugin->get__GUID(&id); FAILED(result)) return result;
            *out_key = MakeCryptKey(ToUtf16(ToHex(&id, sizeof(id)))).detach();
            return S_OK;
        });
    }

    HRESULT CreateOAuthParams(TMK::ITMK_Cab** out_parameters) override {
        if (!out_parameters) return E_POINTER;
        *out_parameters = nullptr;
        return Guarded([&] {
            const auto tree = std::make_shared<SettingsTree>();
            tree->SetTemplate(kOAuthTemplate, u"OAuth");
            *out_parameters = tree->View().detach();
            return S_OK;
        });
    }

    HRESULT DoOAuth(HWND, TMK::ITMK_CabNode* parameters) override {
        if (!parameters) return E_INVALIDARG;
        return Guarded([&] { return m_host.DoOAuth(parameters); });
    }

    HRESULT get_MainWindow(HWND* out_window) override {
        if (!out_window) return E_POINTER;
        *out_window = nullptr;
        return S_OK;
    }

    HRESULT get_EventServer(TMK::ITMK_EventServer** out_server) override {
        if (!out_server) return E_POINTER;
        m_host.m_events->AddRef();
        *out_server = m_host.m_events.get();
        return S_OK;
    }

    HRESULT CreateTaskDialog(TMK::ITMK_TaskDialog** out_dialog) override {
        if (!out_dialog) return E_POINTER;
        *out_dialog = nullptr;
        return Guarded([&] {
            *out_dialog = MakeTaskDialog(m_host.m_prompts, m_host.m_catalogue).detach();
            return S_OK;
        });
    }

    HRESULT get_DocumentsCount(UINT* out_count) override {
        if (!out_count) return E_POINTER;
        *out_count = static_cast<UINT>(m_host.m_documents.Count());
        return S_OK;
    }

    HRESULT get_Document(UINT index, TMK::ITMK_Document** out_document) override {
        if (!out_document) return E_POINTER;
        *out_document = m_host.m_documents.At(index).detach();
        return *out_document ? S_OK : E_INVALIDARG;
    }

    HRESULT FindDocumentByFile(TMK::IAFS_File* file, TMK::ITMK_Document** out_document) override {
        if (!out_document) return E_POINTER;
        *out_document = nullptr;
        if (!file) return E_INVALIDARG;
        return Guarded([&] {
            *out_document = m_host.m_documents.FindByFile(file).detach();
            return *out_document ? S_OK : S_FALSE;
        });
    }

    HRESULT ReloadDocument(TMK::ITMK_Document* document, DWORD, DWORD, DWORD) override {
        return Guarded([&] {
            const auto known = m_host.m_documents.Find(document);
            return known ? known->Reload() : E_INVALIDARG;
        });
    }

    HRESULT CreateWebView(HWND parent, TMK::ITMK_WebViewInitializationCallback* callback, BSTR cookie_group,
                          TMK::ITMK_WebView** out_web_view) override {
        if (!out_web_view) return E_POINTER;
        *out_web_view = nullptr;
        if (!cookie_group || (parent && !m_host.m_windows.Has(parent))) return E_INVALIDARG;
        if (!m_host.m_main_thread.IsCurrent()) return E_UNEXPECTED;
        if (!m_host.m_browser) {
            if (parent)
                m_host.NoteMessage("the site asks for a sign-in in a browser, and there is none here");
            return E_NOTIMPL;
        }
        return Guarded([&] {
            *out_web_view = MakeWebView(*m_host.m_browser, m_host.m_windows, parent, callback,
                                        std::u16string(cookie_group, SysStringLen(cookie_group)))
                                .detach();
            return S_OK;
        });
    }

private:
    Host& m_host;
};

ComPtr<TMK::ITMK_Inst> MakeInstance(Host& host) {
    return Make<Instance>(host);
}

ComPtr<TMK::IAFS_Inst> MakeFileSystems(Host& host) {
    return Make<FileSystems>(host);
}

}  // namespace host
