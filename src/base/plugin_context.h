// What everything below plugin/ knows of the plug-in: the host's objects, the preferences, and whom to tell
// of a change. The plug-in object derives from it. Members are written on the main thread while the plug-in
// starts and ends, and only read in between.
#pragma once

#include <memory>

#include "base/preferences.h"
#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

class File;
class PluginContext;

namespace Ui {
class OpenSaveDialogs;
}

// What the layers below the file system know of it.
class FileSystemContext : public TMK::IAFS_FileSys {
public:
    // Empties the table of progress monitors and drops the references to the plug-in and the host.
    virtual void Detach() = 0;
    // Null after Detach.
    virtual PluginContext* GetPlugin() const = 0;
    // Throws HResultException E_FAIL after Detach.
    virtual ComPtr<TMK::IAFS_Inst> GetAFS() const = 0;
};

class PluginContext : public TMK::ITMK_Plugin {
public:
    PluginContext(const PluginContext&) = delete;
    PluginContext& operator=(const PluginContext&) = delete;

    // A file's check-out state or edit right changed; any thread.
    virtual void OnFileStateChanged(File* file) = 0;

    // Null before the plug-in is started and after its end; any thread.
    virtual std::shared_ptr<Ui::OpenSaveDialogs> GetOpenSaveDialogs() const = 0;

    // Released from the last to the first.
    ComPtr<TMK::ITMK_Inst> m_tmk_inst;
    ComPtr<TMK::IAFS_Inst> m_afs_inst;
    ComPtr<TMK::IAUX_Inst> m_aux_inst;
    ComPtr<TMK::IUIX_Inst> m_uix_inst;
    ComPtr<TMK::IEventHandler> m_events_handler;
    ComPtr<FileSystemContext> m_file_system;
    PreferencesManager m_preferences_manager;
    ComPtr<TMK::IUIX_Icon> m_icon;
    DWORD m_info_bar_id = 0;

protected:
    PluginContext() : m_preferences_manager(*this) {}
    ~PluginContext() = default;
};
