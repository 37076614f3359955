#include "browse/list/file_icons.h"

#include "base/failure.h"
#include "base/text/ignore_case.h"

namespace Ui {
namespace {

constexpr DWORD kIconFlags = 0;

// Extensions are compared letter by letter; one that differs otherwise costs an icon more.
std::u16string ToKey(const char16_t* extension) {
    std::u16string key(extension && *extension ? extension : u".");
    for (char16_t& c : key) c = ToLowerAscii(c);
    return key;
}

}  // namespace

HRESULT FilesIconProvider::GetIcon(TMK::IUIX_Icon** out_icon, const char16_t* extension) {
    TRACE_NAME("Ui::FilesIconProvider::GetIcon");
    CHECK_RETURN(out_icon != nullptr, E_POINTER);
    *out_icon = nullptr;
    const std::u16string key = ToKey(extension);
    auto found = m_icons.find(key);
    if (found == m_icons.end()) {
        ComPtr<TMK::IUIX_Icon> icon;
        CHECK_RESULT(Make(key, icon));
        found = m_icons.emplace(key, std::move(icon)).first;
    }
    *out_icon = found->second.copy();
    return S_OK;
}

HRESULT FilesIconProvider::Make(const std::u16string& key, ComPtr<TMK::IUIX_Icon>& icon) {
    TRACE_NAME("Ui::FilesIconProvider::GetIcon");
    if (key == u"./") {
        CHECK_RESULT_TEXT(m_ui->GetIcon(Bstr(u"ico.folder").get(), icon.put()),
                          u"m_ui->GetIcon(CComBSTR(L\"ico.folder\"), &icon)");
    } else if (key == u"../") {
        CHECK_RESULT_TEXT(m_ui->GetIcon(Bstr(u"ico.folder.opened").get(), icon.put()),
                          u"m_ui->GetIcon(CComBSTR(L\"ico.folder.opened\"), &icon)");
    } else {
        CHECK_RESULT_TEXT(m_ui->CreateFileTypeIcon(const_cast<LPWSTR>(key.c_str()), kIconFlags, icon.put()),
                          u"m_ui->CreateFileTypeIcon(const_cast<wchar_t*>(extension), icon_flags, &icon)");
    }
    return S_OK;
}

}  // namespace Ui
