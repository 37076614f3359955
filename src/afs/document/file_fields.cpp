// The document's library columns, for hosts that show no properties dialog.
#include "afs/document/file.h"
#include "base/failure.h"
#include "sharepoint/fields_text.h"

void File::GetFields(VARIANT* out_value) {
    TRACE_ENTRY("File::GetFields");
    CHECK_THROW(out_value != nullptr, HResultException, E_POINTER);
    CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
    *out_value = Variant(SharePoint::DescribeFields(ServerFile().LoadFields())).detach();
    TRACE_EXIT(u"");
}

void File::SetFields(const VARIANT& changes) {
    TRACE_ENTRY("File::SetFields");
    CHECK_THROW(changes.vt == VT_BSTR && changes.bstrVal != nullptr, HResultException, E_INVALIDARG);
    CHECK_THROW(m_name->GetObject() != nullptr, HResultException, E_SP_NOT_FOUND);
    SharePoint::FieldsData fields = ServerFile().LoadFields();
    ServerFile().SetFields(SharePoint::ChangedFields(fields, changes.bstrVal));
    CHECK_THROW(ServerFile().SaveFields(), HResultException, E_FAIL);
    TRACE_EXIT(u"");
}
