// The root object: what the host gets from TMKE_GetPlugin, owner of every long-lived object. Main thread
// only.
#pragma once

#include <mutex>

#include "base/plugin_context.h"
#include "base/scaffolding.h"

class EventsHandler;

class Plugin final : public cCoClassUnknownT<Plugin, PluginContext> {
public:
    static const GUID kClassId;

    HRESULT get__GUID(GUID* out_guid) override;
    HRESULT get_Name(BSTR* out_name) override;
    HRESULT get_CopyrightInfo(BSTR* out_copyright_info) override;
    HRESULT get_version(DWORD* out_version) override;
    HRESULT get_VendorID(DWORD* out_vendor_id) override;
    HRESULT get_Description(BSTR* out_description) override;
    HRESULT get_LegalInfo(BSTR* out_legal_info) override;
    HRESULT get_Publisher(BSTR* out_publisher) override;
    HRESULT get_Features(DWORD* out_features) override;
    HRESULT Setup(TMK::ITMK_Inst* pInst) override;
    HRESULT RegisterExts() override;
    HRESULT FinalizeRegistering() override;
    HRESULT Init() override;
    HRESULT Unload() override;
    HRESULT ShowPrefsDlg(HWND parent_window) override;
    HRESULT ImportAdditionalData(IStream* stream) override;
    HRESULT ExportAdditionalData(IStream* stream) override;
    HRESULT ResetSettings() override;

    void OnFileStateChanged(File* file) override;
    std::shared_ptr<Ui::OpenSaveDialogs> GetOpenSaveDialogs() const override;

private:
    HRESULT InitSettings();
    ComPtr<EventsHandler> Events() const;  // null before Init and after Unload
    void SetEvents(ComPtr<TMK::IEventHandler> events);

    mutable std::mutex m_events_lock;  // workers tell of changes while the main thread unloads
};
