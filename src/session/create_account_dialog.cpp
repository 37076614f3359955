#include "session/create_account_dialog.h"

#include "base/failure.h"
#include "base/main_thread.h"
#include "base/url.h"
#include "dialogs/template_dialog.h"

using namespace TMK;

namespace Ui::CreateAccountDialog {
namespace {

struct ApiVersionRow {
    const char16_t* text_id;
    PARAM_T value;
};
constexpr ApiVersionRow kApiVersions[] = {{u"sp.cbitem.apiVer.compatible", 0},
                                          {u"sp.cbitem.apiVer.modern", 1}};

class CreateAccountDialogImpl final : public TemplateDialog<CreateAccountDialogImpl> {
public:
    CreateAccountDialogImpl(PluginContext& plugin, std::u16string& in_out_url)
        : TemplateDialog(plugin), m_url(in_out_url) {}

    HRESULT DoModal(HWND parent);
    HRESULT HandleEvent(UIX_Event& event);

    ComPtr<AccountData> m_account_data;

private:
    HRESULT OnShowModal();
    HRESULT FillApiVersions(IUIX_Combo& combo);
    HRESULT OnOk();

    std::u16string& m_url;
};

HRESULT CreateAccountDialogImpl::DoModal(HWND parent) {
    TRACE_ENTRY("Ui::CreateAccountDialogImpl::DoModal");
    return RunModal(trace_function, u"CreateAccountDlg", 0, parent);
}

HRESULT CreateAccountDialogImpl::HandleEvent(UIX_Event& event) {
    if (event.nCode == UIX_Event_ShowModal) return OnShowModal();
    if (!IsClick(event)) return S_OK;
    if (IsFrom(event, u"btn.ok")) return OnOk();
    if (IsFrom(event, u"btn.cancel")) EndModal(kDialogCancel);
    return S_OK;
}

HRESULT CreateAccountDialogImpl::OnShowModal() {
    TRACE_NAME("Ui::CreateAccountDialogImpl::OnShowModal");
    const ResourceData png = FindResourceData(IDR_ICON_48_PNG, u"PNG");
    ComPtr<IRGC_Inst> images;
    ComPtr<IUIX_Icon> icon;
    const ComPtr<IUIX_Picture> picture = Get<IUIX_Picture>(u"img.sharepoint");
    if (picture && SUCCEEDED(m_plugin.m_uix_inst->get_ImageExt(images.put())) && images &&
        SUCCEEDED(images->CreateIcon(png.data, png.size, icon.put()))) {
        picture->put_Icon(icon.get());
    }
    const ComPtr<IUIX_Combo> versions = Get<IUIX_Combo>(u"cb.APIVer");
    CHECK_RETURN(versions != nullptr, E_FAIL);
    CHECK_RESULT(FillApiVersions(*versions));
    const ComPtr<IUIX_Obj> url = GetControl(u"ed.url");
    CHECK_RETURN(url != nullptr, E_FAIL);
    CHECK_RESULT(url->put_Text(m_url.c_str()));
    url->SetFocus();
    return S_OK;
}

// The choice of the last time stands.
HRESULT CreateAccountDialogImpl::FillApiVersions(IUIX_Combo& combo) {
    TRACE_NAME("Ui::CreateAccountDialogImpl::OnShowModal");
    const uint32_t last = m_plugin.m_preferences_manager.m_preferences.api_version;
    LONG index = 0;
    for (const ApiVersionRow& row : kApiVersions) {
        const std::u16string text = FormatString(m_plugin.m_tmk_inst.get(), row.text_id);
        CHECK_RESULT(combo.InsertItem(-1, text.c_str(), nullptr, nullptr, row.value, 0));
        if (row.value == last) CHECK_RESULT(combo.put_SelItem(index));
        ++index;
    }
    return S_OK;
}

HRESULT CreateAccountDialogImpl::OnOk() {
    TRACE_NAME("Ui::CreateAccountDialogImpl::OnOk");
    const ComPtr<IUIX_Combo> versions = Get<IUIX_Combo>(u"cb.APIVer");
    LONG index = -1;
    PARAM_T version = 0;
    if (versions && SUCCEEDED(versions->get_SelItem(&index)) && index >= 0)
        CHECK_RESULT(versions->GetItemParam(index, &version));
    const auto api_version = static_cast<uint32_t>(version);
    m_plugin.m_preferences_manager.Change([&](Preferences& all) { all.api_version = api_version; });
    const ComPtr<IUIX_Obj> field = GetControl(u"ed.url");
    Bstr text;
    if (field) CHECK_RESULT_TEXT(field->get_Text(text.put()), u"field->get_Text(&text)");
    m_url = text.str();
    if (!m_url.empty())
        m_account_data = MakeObject<AccountData>(m_plugin, NormalizeUserUrl(m_url.c_str()), api_version);
    EndModal(kDialogOk);
    return S_OK;
}

}  // namespace

HRESULT Show(PluginContext& plugin, HWND window, const PromptText& error, std::u16string& in_out_url,
             ComPtr<AccountData>& account_data) {
    TRACE_ENTRY("Ui::CreateAccountDialog::Show");
    return CallOnMainThread(plugin.m_tmk_inst.get(), [&]() -> HRESULT {
        if (!error.text.empty())
            ShowMessageBox(plugin.m_tmk_inst.get(), kStyleWarning, error, {u"btn.close"});
        const auto dialog = MakeObject<CreateAccountDialogImpl>(plugin, in_out_url);
        CHECK_RETURN(dialog != nullptr, E_OUTOFMEMORY);
        const HRESULT result = dialog->DoModal(window);
        if (result == S_OK) account_data = dialog->m_account_data;
        return result;
    });
}

}  // namespace Ui::CreateAccountDialog
