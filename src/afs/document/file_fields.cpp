// The document's library columns: as text for scripts, and in a dialog for a person.
#include "afs/document/file.h"
#include "base/failure.h"
#include "base/main_thread.h"
#include "properties/file_properties_dialog.h"
#include "sharepoint/fields_text.h"

void File::GetFields(VARIANT* out_value) {
    TRACE_ENTRY("File::GetFields");
    CHECK_THROW(out_value != nullptr, HResultException, E_POINTER);
    *out_value = Variant(SharePoint::DescribeFields(LoadFields())).detach();
    TRACE_EXIT(u"");
}

void File::SetFields(const VARIANT& changes) {
    TRACE_ENTRY("File::SetFields");
    CHECK_THROW(changes.vt == VT_BSTR && changes.bstrVal != nullptr, HResultException, E_INVALIDARG);
    const SharePoint::FieldsData fields = LoadFields();
    SaveFields(SharePoint::ChangedFields(fields, changes.bstrVal));
    TRACE_EXIT(u"");
}

SharePoint::FieldsData File::LoadFields() {
    TRACE_NAME("File::LoadFields");
    CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
    return ServerFile().LoadFields();
}

void File::SaveFields(SharePoint::FieldsData changed) {
    TRACE_NAME("File::SaveFields");
    ServerFile().SetFields(std::move(changed));
    CHECK_THROW(ServerFile().SaveFields(), HResultException, E_FAIL);
}

HRESULT File::EditFields(HWND parent, const SharePoint::FieldsData& fields) {
    TRACE_ENTRY("File::EditFields");
    CHECK_THROW(m_plugin != nullptr, HResultException, E_FAIL);
    const std::vector<std::string> before = SharePoint::SentValues(fields);
    const HRESULT result = CallOnMainThread(
        m_inst.get(), [&] { return Ui::FilePropertiesDialog::Show(*m_plugin, parent, fields.fields); });
    if (SUCCEEDED(result)) SaveFields(SharePoint::ChangedSince(before, fields));
    TRACE_EXIT(static_cast<uint32_t>(result));
    return result;
}
