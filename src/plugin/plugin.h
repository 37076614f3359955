// The root object: what the host gets from TMKE_GetPlugin, owner of every long-lived object. Main thread
// only.
#pragma once

#include "base/preferences.h"
#include "base/scaffolding.h"
#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

class EventsHandler;
class File;
class FileSystem;

class Plugin final : public cCoClassUnknownT<Plugin, TMK::ITMK_Plugin> {
public:
    static const GUID kClassId;

    Plugin();
    ~Plugin() override;

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

    // A file's check-out state or edit right changed; any thread.
    void OnFileStateChanged(File* file);

    ComPtr<TMK::ITMK_Inst> m_tmk_inst;
    ComPtr<TMK::IAFS_Inst> m_afs_inst;
    ComPtr<TMK::IAUX_Inst> m_aux_inst;
    ComPtr<TMK::IUIX_Inst> m_uix_inst;
    ComPtr<EventsHandler> m_events_handler;
    ComPtr<FileSystem> m_file_system;
    PreferencesManager m_preferences_manager;
    ComPtr<TMK::IUIX_Icon> m_icon;
    DWORD m_info_bar_id = 0;

private:
    HRESULT InitSettings();
};
