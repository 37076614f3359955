// A host for tests that passes every call on to another one, if there is one; a test overrides what it is
// about. Main thread.
#pragma once

#include <type_traits>

#include "base/scaffolding.h"
#include "hostapi/itmk.h"

namespace testing_support {

class ForwardingHost : public cCoClassUnknownT<ForwardingHost, TMK::ITMK_Inst> {
public:
    explicit ForwardingHost(TMK::ITMK_Inst* base) : m_base(base) {}

    HRESULT GetExtension(LPCWSTR id, IUnknown** out) override {
        return Base(&TMK::ITMK_Inst::GetExtension, id, out);
    }
    HRESULT CreateWebView(HWND parent, TMK::ITMK_WebViewInitializationCallback* callback, BSTR group,
                          TMK::ITMK_WebView** out) override {
        return Base(&TMK::ITMK_Inst::CreateWebView, parent, callback, group, out);
    }
    HRESULT RunOnMainThread(TMK::ITMK_ThreadSafeCallback* callback, DWORD timeout,
                            VARIANT_BOOL wait) override {
        return Base(&TMK::ITMK_Inst::RunOnMainThread, callback, timeout, wait);
    }
    HRESULT GetPluginSettings(TMK::ITMK_Plugin* plugin, VARIANT_BOOL create, TMK::ITMK_Cab** out) override {
        return Base(&TMK::ITMK_Inst::GetPluginSettings, plugin, create, out);
    }
    HRESULT Str2ID(LPCWSTR name, VARIANT_BOOL create, DWORD* out) override {
        return Base(&TMK::ITMK_Inst::Str2ID, name, create, out);
    }
    HRESULT LoadLocalization(IStream* catalogue) override {
        return Base(&TMK::ITMK_Inst::LoadLocalization, catalogue);
    }
    HRESULT RegisterInfoBarType(LPCWSTR id, LPCWSTR title, LPCWSTR description, DWORD priority, DWORD colour,
                                TMK::IUIX_Icon* icon) override {
        return Base(&TMK::ITMK_Inst::RegisterInfoBarType, id, title, description, priority, colour, icon);
    }
    HRESULT GetLocalStr(LPCWSTR id, BSTR* out) override {
        return Base(&TMK::ITMK_Inst::GetLocalStr, id, out);
    }
    HRESULT CreateStdBindContext(TMK::IAFS_BindContext** out) override {
        return Base(&TMK::ITMK_Inst::CreateStdBindContext, out);
    }
    HRESULT GetCryptKey(TMK::ITMK_Plugin* plugin, VARIANT_BOOL reserved, TMK::ITMK_CryptKey** out) override {
        return Base(&TMK::ITMK_Inst::GetCryptKey, plugin, reserved, out);
    }
    HRESULT CreateOAuthParams(TMK::ITMK_Cab** out) override {
        return Base(&TMK::ITMK_Inst::CreateOAuthParams, out);
    }
    HRESULT DoOAuth(HWND parent, TMK::ITMK_CabNode* parameters) override {
        return Base(&TMK::ITMK_Inst::DoOAuth, parent, parameters);
    }
    HRESULT get_MainWindow(HWND* out) override { return Base(&TMK::ITMK_Inst::get_MainWindow, out); }
    HRESULT get_EventServer(TMK::ITMK_EventServer** out) override {
        return Base(&TMK::ITMK_Inst::get_EventServer, out);
    }
    HRESULT CreateTaskDialog(TMK::ITMK_TaskDialog** out) override {
        return Base(&TMK::ITMK_Inst::CreateTaskDialog, out);
    }
    HRESULT get_DocumentsCount(UINT* out) override { return Base(&TMK::ITMK_Inst::get_DocumentsCount, out); }
    HRESULT get_Document(UINT index, TMK::ITMK_Document** out) override {
        return Base(&TMK::ITMK_Inst::get_Document, index, out);
    }
    HRESULT FindDocumentByFile(TMK::IAFS_File* file, TMK::ITMK_Document** out) override {
        return Base(&TMK::ITMK_Inst::FindDocumentByFile, file, out);
    }
    HRESULT ReloadDocument(TMK::ITMK_Document* document, DWORD a, DWORD mode, DWORD b) override {
        return Base(&TMK::ITMK_Inst::ReloadDocument, document, a, mode, b);
    }
    HRESULT GetDocViewFromUIObj(IUnknown* object, VARIANT_BOOL or_active,
                                TMK::ITMK_DocumentView** out) override {
        return Base(&TMK::ITMK_Inst::GetDocViewFromUIObj, object, or_active, out);
    }
    HRESULT get_ProgressMon(TMK::ITMK_ProgressMon** out) override {
        return Base(&TMK::ITMK_Inst::get_ProgressMon, out);
    }
    HRESULT SaveDocument(TMK::ITMK_Document* document, TMK::IAFS_Name* destination, DWORD mode,
                         TMK::ITMK_ProgressMon* progress) override {
        return Base(&TMK::ITMK_Inst::SaveDocument, document, destination, mode, progress);
    }
    HRESULT IsUserCancel(HRESULT result, VARIANT_BOOL* out) override {
        return Base(&TMK::ITMK_Inst::IsUserCancel, result, out);
    }
    HRESULT StartTimer(TMK::ITMK_TimerCallback* callback, DWORD interval, VARIANT_BOOL once,
                       DWORD* out) override {
        return Base(&TMK::ITMK_Inst::StartTimer, callback, interval, once, out);
    }
    HRESULT StopTimer(DWORD id) override { return Base(&TMK::ITMK_Inst::StopTimer, id); }
    HRESULT GetFileFilter(LPCWSTR key, DWORD form, BSTR* out) override {
        return Base(&TMK::ITMK_Inst::GetFileFilter, key, form, out);
    }

private:
    template <typename... Parameters>
    HRESULT Base(HRESULT (TMK::ITMK_Inst::*operation)(Parameters...),
                 std::type_identity_t<Parameters>... arguments) {
        return m_base ? (m_base.get()->*operation)(arguments...) : E_NOTIMPL;
    }

    ComPtr<TMK::ITMK_Inst> m_base;
};

}  // namespace testing_support
