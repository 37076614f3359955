#include "properties/file_properties_dialog.h"

#include "base/failure.h"
#include "dialogs/message_box.h"
#include "dialogs/template_dialog.h"

namespace TMK {
namespace {

constexpr DWORD kWindowStyle = 0x86C80000;

class FilePropertiesDialogImpl final : public Ui::TemplateDialog<FilePropertiesDialogImpl> {
public:
    FilePropertiesDialogImpl(PluginContext& plugin, const Fields& fields)
        : TemplateDialog(plugin), m_fields(fields) {}

    HRESULT DoModal(HWND parent) {
        TRACE_ENTRY("FilePropertiesDialogImpl::DoModal");
        return RunModal(trace_function, u"FilePropertiesDlg", kWindowStyle, parent);
    }

    HRESULT HandleEvent(UIX_Event& event) {
        if (event.nCode == UIX_Event_InitDialog) return OnCreate();
        if (event.nCode == UIX_Event_BeforeDestroy) return Attach(nullptr);
        if (!IsClick(event)) return S_OK;
        if (IsFrom(event, u"btn.ok")) EndModal(Ui::kDialogOk);
        if (IsFrom(event, u"btn.cancel")) EndModal(Ui::kDialogCancel);
        return S_OK;
    }

private:
    HRESULT OnCreate() {
        TRACE_NAME("FilePropertiesDialogImpl::OnCreate");
        const ComPtr<IUIX_Obj> label = GetControl(u"lbl.RequiredFields");
        CHECK_RETURN(label != nullptr, E_FAIL);
        const std::u16string text = Ui::FormatString(m_plugin.m_tmk_inst.get(), u"sp.lbl.requiredProperties");
        CHECK_RESULT(label->put_Text(text.c_str()));
        const auto host = MakeObject<FieldsPropHost>(&m_fields);
        return Attach(host.get());
    }
    HRESULT Attach(IUIX_PropHost* host) {
        TRACE_NAME("FilePropertiesDialogImpl::OnCreate");
        const ComPtr<IUIX_PropList> properties = Get<IUIX_PropList>(u"lst.properties");
        CHECK_RETURN(properties != nullptr, E_FAIL);
        CHECK_RESULT(properties->put_Host(host));
        return S_OK;
    }

    const Fields& m_fields;
};

}  // namespace
}  // namespace TMK

namespace Ui::FilePropertiesDialog {

HRESULT Show(PluginContext& plugin, HWND parent, const TMK::Fields& fields) {
    TRACE_ENTRY("Ui::FilePropertiesDialog::Show");
    const auto dialog = MakeObject<TMK::FilePropertiesDialogImpl>(plugin, fields);
    return dialog->DoModal(parent);
}

}  // namespace Ui::FilePropertiesDialog
