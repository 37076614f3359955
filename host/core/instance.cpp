#include "host/core/instance.h"

#include "host/base/give.h"
#include "host/base/host_objects.h"
#include "host/browser/web_view.h"
#include "host/core/aux_extension.h"
#include "host/core/front_end.h"
#include "host/core/plugin_id.h"
#include "host/dialogs/file_filters.h"
#include "host/profile/settings_tree.h"
#include "host/prompts/task_dialog.h"
#include "host/workbench/images.h"
#include "host/workbench/workbench.h"

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

// Shown from the first position on.
ComPtr<TMK::ITMK_ProgressMon> MakeProgress(FrontEnd& front_end) {
    return Make<ProgressMonitor>([&front_end, display = std::shared_ptr<ProgressDisplay>()](
                                     std::uint64_t position, std::uint64_t total) mutable {
        if (!display) display = front_end.ShowProgress(total);
        display->Show(position);
    });
}

class Instance final : public Object<TMK::ITMK_Inst> {
public:
    explicit Instance(PluginServices& services) : m_services(services) {}

    HRESULT GetExtension(LPCWSTR id, IUnknown** out_extension) override {
        if (!out_extension) return E_POINTER;
        *out_extension = m_services.FindExtension(id ? id : u"");
        if (!*out_extension) return E_NOINTERFACE;
        (*out_extension)->AddRef();
        return S_OK;
    }

    HRESULT GetPluginSettings(TMK::ITMK_Plugin* plugin, VARIANT_BOOL create,
                              TMK::ITMK_Cab** out_settings) override {
        if (!out_settings) return E_POINTER;
        *out_settings = nullptr;
        if (!plugin) return E_INVALIDARG;
        return Guarded([&] {
            auto settings = m_services.OpenSettings(plugin, create != VARIANT_FALSE);
            *out_settings = settings.detach();
            return *out_settings ? S_OK : S_FALSE;
        });
    }

    HRESULT Str2ID(LPCWSTR name, VARIANT_BOOL create, DWORD* out_id) override {
        if (!out_id) return E_POINTER;
        *out_id = 0;
        if (!name) return E_INVALIDARG;
        return Guarded([&] {
            Atoms& atoms = m_services.workbench().atoms();
            *out_id = create != VARIANT_FALSE ? atoms.Of(name) : atoms.Find(name).value_or(0);
            return *out_id ? S_OK : S_FALSE;
        });
    }

    HRESULT LoadLocalization(IStream* catalogue) override {
        if (!catalogue) return E_INVALIDARG;
        return Guarded([&] {
            m_services.catalogue().Load(ReadStream(catalogue));
            return S_OK;
        });
    }

    HRESULT RegisterInfoBarType(LPCWSTR id, LPCWSTR title_id, LPCWSTR description_id, DWORD priority,
                                DWORD colour, TMK::IUIX_Icon* icon) override {
        if (!id) return E_INVALIDARG;
        return Guarded([&] {
            Workbench& workbench = m_services.workbench();
            workbench.info_bar_types().Register(
                workbench.atoms().Of(id),
                {id, FromWide(title_id), FromWide(description_id), priority, colour, icon});
            return S_OK;
        });
    }

    HRESULT GetLocalStr(LPCWSTR id, BSTR* out_text) override {
        if (!out_text) return E_POINTER;
        *out_text = nullptr;
        if (!id) return E_INVALIDARG;
        return Guarded([&] {
            const auto text = m_services.catalogue().Find(id);
            return text ? GiveString(out_text, *text) : E_FAIL;
        });
    }

    HRESULT CreateStdBindContext(TMK::IAFS_BindContext** out_context) override {
        return Give(out_context, [&] { return m_services.NewBindContext(); });
    }

    HRESULT RunOnMainThread(TMK::ITMK_ThreadSafeCallback* callback, DWORD, VARIANT_BOOL wait) override {
        if (!callback) return E_INVALIDARG;
        return Guarded([&] {
            const ComPtr<TMK::ITMK_ThreadSafeCallback> held(callback);
            return m_services.front_end().main_thread().Run([held] { return held->Call(); },
                                                            wait != VARIANT_FALSE);
        });
    }

    HRESULT GetCryptKey(TMK::ITMK_Plugin* plugin, VARIANT_BOOL, TMK::ITMK_CryptKey** out_key) override {
        if (!out_key) return E_POINTER;
        *out_key = nullptr;
        if (!plugin) return E_INVALIDARG;
        return Give(out_key, [&] { return MakeCryptKey(IdOf(plugin)); });
    }

    HRESULT CreateOAuthParams(TMK::ITMK_Cab** out_parameters) override {
        return Give(out_parameters, [&] {
            const auto tree = std::make_shared<SettingsTree>();
            tree->SetTemplate(kOAuthTemplate, u"OAuth");
            return tree->View();
        });
    }

    HRESULT DoOAuth(HWND, TMK::ITMK_CabNode* parameters) override {
        if (!parameters) return E_INVALIDARG;
        return Guarded([&] { return m_services.SignIn(parameters); });
    }

    HRESULT get_MainWindow(HWND* out_window) override {
        return GiveValue(out_window, m_services.front_end().main_window());
    }

    HRESULT get_EventServer(TMK::ITMK_EventServer** out_server) override {
        return Give(out_server, [&] { return ComPtr<EventServer>(&m_services.workbench().events()); });
    }

    HRESULT CreateTaskDialog(TMK::ITMK_TaskDialog** out_dialog) override {
        return Give(out_dialog, [&] { return MakeTaskDialog(m_services.prompts(), m_services.catalogue()); });
    }

    HRESULT get_DocumentsCount(UINT* out_count) override {
        return GiveValue(out_count, m_services.workbench().documents().Count());
    }

    HRESULT get_Document(UINT index, TMK::ITMK_Document** out_document) override {
        if (!out_document) return E_POINTER;
        *out_document = m_services.workbench().documents().At(index).detach();
        return *out_document ? S_OK : E_INVALIDARG;
    }

    HRESULT FindDocumentByFile(TMK::IAFS_File* file, TMK::ITMK_Document** out_document) override {
        if (!out_document) return E_POINTER;
        *out_document = nullptr;
        if (!file) return E_INVALIDARG;
        return Guarded([&] {
            *out_document = m_services.workbench().documents().FindByFile(file).detach();
            return *out_document ? S_OK : S_FALSE;
        });
    }

    HRESULT ReloadDocument(TMK::ITMK_Document* document, DWORD, DWORD, DWORD) override {
        return Guarded([&] {
            const auto known = m_services.workbench().documents().Find(document);
            return known ? known->Reload() : E_INVALIDARG;
        });
    }

    HRESULT CreateWebView(HWND parent, TMK::ITMK_WebViewInitializationCallback* callback, BSTR cookie_group,
                          TMK::ITMK_WebView** out_web_view) override {
        if (!out_web_view) return E_POINTER;
        *out_web_view = nullptr;
        FrontEnd& front_end = m_services.front_end();
        if (!cookie_group || (parent && !front_end.windows().Has(parent))) return E_INVALIDARG;
        if (!front_end.main_thread().IsCurrent()) return E_UNEXPECTED;
        Browser* const browser = m_services.browser();
        if (!browser) {
            if (parent)
                m_services.NoteMessage("the site asks for a sign-in in a browser, and there is none here");
            return E_NOTIMPL;
        }
        return Give(out_web_view, [&] {
            return MakeWebView(*browser, front_end.windows(), parent, callback,
                               std::u16string(cookie_group, SysStringLen(cookie_group)),
                               [this](const std::string& line) { m_services.NoteMessage(line); });
        });
    }
    HRESULT GetDocViewFromUIObj(IUnknown* object, VARIANT_BOOL or_active,
                                TMK::ITMK_DocumentView** out_view) override {
        if (!out_view) return E_POINTER;
        *out_view = m_services.workbench().ViewOf(object, or_active != VARIANT_FALSE).detach();
        return *out_view ? S_OK : S_FALSE;
    }

    HRESULT get_ProgressMon(TMK::ITMK_ProgressMon** out_progress) override {
        return Give(out_progress, [&] { return MakeProgress(m_services.front_end()); });
    }

    HRESULT SaveDocument(TMK::ITMK_Document* document, TMK::IAFS_Name* destination, DWORD mode,
                         TMK::ITMK_ProgressMon* progress) override {
        if ((mode == TMK::TMK_SaveMode_InPlace) == (destination != nullptr)) return E_INVALIDARG;
        return Guarded([&] {
            const auto known = m_services.workbench().documents().Find(document);
            return known ? known->Save(destination, mode, progress) : E_INVALIDARG;
        });
    }

    HRESULT IsUserCancel(HRESULT result, VARIANT_BOOL* out_cancel) override {
        return GiveBool(out_cancel, result == kCanceled || result == HRESULT_FROM_WIN32(ERROR_CANCELLED));
    }

    HRESULT StartTimer(TMK::ITMK_TimerCallback* callback, DWORD interval, VARIANT_BOOL once,
                       DWORD* out_timer_id) override {
        if (!out_timer_id) return E_POINTER;
        *out_timer_id = 0;
        if (!callback) return E_INVALIDARG;
        return Guarded([&] {
            *out_timer_id = m_services.workbench().timers().Start(
                callback, std::chrono::milliseconds(interval), once != VARIANT_FALSE);
            return S_OK;
        });
    }

    HRESULT StopTimer(DWORD timer_id) override {
        return m_services.workbench().timers().Stop(timer_id) ? S_OK : S_FALSE;
    }

    HRESULT GetFileFilter(LPCWSTR key, DWORD form, BSTR* out_filter) override {
        if (!out_filter) return E_POINTER;
        *out_filter = nullptr;
        if (!key || form > 1) return E_INVALIDARG;
        return Guarded([&] {
            return GiveString(out_filter,
                              FileFilter(m_services.catalogue(), key, static_cast<FilterForm>(form)));
        });
    }

private:
    PluginServices& m_services;
};

}  // namespace

ComPtr<TMK::ITMK_Inst> MakeInstance(PluginServices& services) {
    return Make<Instance>(services);
}

}  // namespace host
