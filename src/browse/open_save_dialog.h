// Shows the dialog of the plug-in for a file system, on the host's main thread. Any thread.
#pragma once

#include "dialogs/open_save_dialogs.h"
#include "hostapi/itmk.h"

namespace Ui {

class OpenSaveDialog final : public OpenSaveDialogs {
public:
    // Throws HResultException when the host has no windows.
    explicit OpenSaveDialog(TMK::ITMK_Inst* tmk_instance);

    HRESULT ShowOpenSinglePlace(TMK::IAFS_NamesCollection** o_names, DialogParameters& io_parameters,
                                TMK::IAFS_Name* i_default_folder, HWND i_parent_window,
                                const Preferences& i_preferences) override;
    HRESULT ShowSaveSinglePlace(TMK::IAFS_NamesCollection** o_names, DialogParameters& io_parameters,
                                TMK::IAFS_Name* i_default_folder, HWND i_parent_window,
                                const Preferences& i_preferences) override;

private:
    struct Request {
        bool open;
        DialogParameters& parameters;
        TMK::IAFS_Name* default_folder;
        HWND parent_window;
        const Preferences& preferences;
    };
    HRESULT ShowDialog(const Request& request, TMK::IAFS_NamesCollection** o_names);
    HRESULT Run(const Request& request, TMK::IAFS_NamesCollection** o_names);

    const ComPtr<TMK::ITMK_Inst> m_tmk_instance;
    ComPtr<TMK::IUIX_Inst> m_ui;
};

}  // namespace Ui
