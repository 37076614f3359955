// What a host wants of an open or save dialog, and what goes back to it. Main thread.
#pragma once

#include <string>

#include "hostapi/iafs.h"
#include "hostapi/iwindows.h"
#include "platform/com_ptr.h"

namespace Ui {

struct DialogParameters {
    enum Flags : DWORD { confirm_overwrite = 4 };

    // Reads the node, which takes the template's shape; an item that is missing or of another type is empty.
    HRESULT LoadFromCab(TMK::IAFS_DlgParams* i_parameters);
    HRESULT LoadFromCab(TMK::ITMK_Cab* i_cab);
    // Writes the index of the filter; nothing else goes back.
    HRESULT SaveToCab(TMK::IAFS_DlgParams* o_parameters) const;
    HRESULT SaveToCab(TMK::ITMK_Cab* o_cab) const;

    DWORD m_flags = 0;
    std::u16string m_title;  // an empty text keeps the template's
    std::u16string m_action_btn_title;
    std::u16string m_cancel_btn_title;
    std::u16string m_settings_btn_title;  // empty: no such button
    std::u16string m_file_filters;        // empty: the usual ones
    int32_t m_file_filter_index = 0;      // negative: none
    std::u16string m_default_ext;
    ComPtr<TMK::IAFS_Name> m_initial_path_name;
    std::u16string m_initial_file_name;
    ComPtr<TMK::IUIX_SettingsCallbacks> m_settings_btn_callbacks;
};

}  // namespace Ui
