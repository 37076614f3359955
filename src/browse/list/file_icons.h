// The icons of rows, each made once. Main thread.
#pragma once

#include <map>
#include <string>

#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

namespace Ui {

class FilesIconProvider {
public:
    explicit FilesIconProvider(TMK::IUIX_Inst* ui) : m_ui(ui) {}

    // "./" is a folder, "../" the way up, anything else a kind of file by its extension with the dot.
    HRESULT GetIcon(TMK::IUIX_Icon** out_icon, const char16_t* extension);

private:
    HRESULT Make(const std::u16string& key, ComPtr<TMK::IUIX_Icon>& icon);

    ComPtr<TMK::IUIX_Inst> m_ui;
    std::map<std::u16string, ComPtr<TMK::IUIX_Icon>> m_icons;
};

}  // namespace Ui
