// A host that lacks one of the extensions that the plug-in stands on.
#include <gtest/gtest.h>

#include "host/base/object.h"
#include "tests/interfaces/inside_host.h"

namespace interfaces {

namespace {

// Passes the extensions of a real host on, but for one; nothing else is asked of a host in Setup.
class LackingInstance final : public host::Object<TMK::ITMK_Inst> {
public:
    LackingInstance(TMK::ITMK_Inst* whole, std::u16string missing)
        : m_whole(whole), m_missing(std::move(missing)) {}

    HRESULT GetExtension(LPCWSTR id, IUnknown** out_extension) override {
        if (id != m_missing) return m_whole->GetExtension(id, out_extension);
        *out_extension = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT GetPluginSettings(TMK::ITMK_Plugin*, VARIANT_BOOL, TMK::ITMK_Cab**) override { return E_NOTIMPL; }
    HRESULT Str2ID(LPCWSTR, VARIANT_BOOL, DWORD*) override { return E_NOTIMPL; }
    HRESULT LoadLocalization(IStream*) override { return E_NOTIMPL; }
    HRESULT RegisterInfoBarType(LPCWSTR, LPCWSTR, LPCWSTR, DWORD, DWORD, TMK::IUIX_Icon*) override {
        return E_NOTIMPL;
    }
    HRESULT GetLocalStr(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
    HRESULT CreateStdBindContext(TMK::IAFS_BindContext**) override { return E_NOTIMPL; }
    HRESULT RunOnMainThread(TMK::ITMK_ThreadSafeCallback*, DWORD, VARIANT_BOOL) override { return E_NOTIMPL; }
    HRESULT GetCryptKey(TMK::ITMK_Plugin*, VARIANT_BOOL, TMK::ITMK_CryptKey**) override { return E_NOTIMPL; }
    HRESULT CreateOAuthParams(TMK::ITMK_Cab**) override { return E_NOTIMPL; }
    HRESULT DoOAuth(HWND, TMK::ITMK_CabNode*) override { return E_NOTIMPL; }
    HRESULT get_MainWindow(HWND*) override { return E_NOTIMPL; }
    HRESULT get_EventServer(TMK::ITMK_EventServer**) override { return E_NOTIMPL; }
    HRESULT CreateTaskDialog(TMK::ITMK_TaskDialog**) override { return E_NOTIMPL; }
    HRESULT get_DocumentsCount(UINT*) override { return E_NOTIMPL; }
    HRESULT get_Document(UINT, TMK::ITMK_Document**) override { return E_NOTIMPL; }
    HRESULT FindDocumentByFile(TMK::IAFS_File*, TMK::ITMK_Document**) override { return E_NOTIMPL; }
    HRESULT ReloadDocument(TMK::ITMK_Document*, DWORD, DWORD, DWORD) override { return E_NOTIMPL; }
    HRESULT CreateWebView(HWND, TMK::ITMK_WebViewInitializationCallback*, BSTR,
                          TMK::ITMK_WebView**) override {
        return E_NOTIMPL;
    }

private:
    ComPtr<TMK::ITMK_Inst> m_whole;
    std::u16string m_missing;
};

TEST(SetUp, FailsWithoutOneOfItsExtensionsAndLetsGoOfTheRest) {
    {
        InsideHost inside;
        for (const char16_t* missing : {u"AFS", u"AUX", u"UIX"}) {
            const auto instance = host::Make<LackingInstance>(inside.host().instance(), missing);
            const auto plugin = MakeObject<Plugin>();
            EXPECT_EQ(plugin->Setup(instance.get()), E_NOINTERFACE);
            EXPECT_EQ(plugin->Init(), E_NOTIMPL) << "what comes after a failed Setup fails, too";
            EXPECT_EQ(plugin->Unload(), S_OK);
        }
    }
    EXPECT_EQ(host::LiveObjects(), 0);
}

}  // namespace

}  // namespace interfaces
