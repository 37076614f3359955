// The dialogs in which people choose documents of a site, as the file system reaches them: they stand above
// it and the plug-in hands them down. Any thread; they show themselves on the main one.
#pragma once

#include "dialogs/dialog_parameters.h"

struct Preferences;

namespace Ui {

class OpenSaveDialogs {
public:
    virtual ~OpenSaveDialogs() = default;

    // Gives the chosen names; E_CANCELED when there are none. `i_default_folder` is where a dialog goes when
    // the wanted folder can't be shown. The picked filter goes back in `io_parameters`.
    virtual HRESULT ShowOpenSinglePlace(TMK::IAFS_NamesCollection** o_names, DialogParameters& io_parameters,
                                        TMK::IAFS_Name* i_default_folder, HWND i_parent_window,
                                        const Preferences& i_preferences) = 0;
    virtual HRESULT ShowSaveSinglePlace(TMK::IAFS_NamesCollection** o_names, DialogParameters& io_parameters,
                                        TMK::IAFS_Name* i_default_folder, HWND i_parent_window,
                                        const Preferences& i_preferences) = 0;
};

}  // namespace Ui
