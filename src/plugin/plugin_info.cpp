// What the plug-in says of itself, and the operations of the host's interface that it doesn't provide.
#include "base/out_values.h"
#include "plugin/plugin.h"

namespace {

constexpr DWORD kVersion = 0x000A0002;
constexpr const char16_t* kCopyright = u"Copyright (c) Tessmark Co Ltd.\nAll rights reserved.";
constexpr const char16_t* kLegal =
    u"SharePoint is a trademark of its owner.\nThis plug-in talks to SharePoint servers on behalf of their "
    u"users.";

}  // namespace

// A string getter under its own trace name and argument name.
#define STRING_GETTER(operation, out_value, value) \
    HRESULT Plugin::operation(BSTR* out_value) {   \
        TRACE_ENTRY("Plugin::" #operation);        \
        RETURN_STRING(out_value, value);           \
    }

// The same for a plain value.
#define VALUE_GETTER(operation, type, out_value, value) \
    HRESULT Plugin::operation(type* out_value) {        \
        TRACE_ENTRY("Plugin::" #operation);             \
        RETURN_VALUE(out_value, value);                 \
    }

// An operation that isn't provided.
#define NOT_PROVIDED(operation, argument)   \
    HRESULT Plugin::operation(argument) {   \
        TRACE_ENTRY("Plugin::" #operation); \
        TRACE_RETURN(E_NOTIMPL);            \
    }

STRING_GETTER(get_Name, out_name, u"SharePoint")
STRING_GETTER(get_CopyrightInfo, out_copyright_info, kCopyright)
STRING_GETTER(get_Description, out_description,
              u"SharePoint plugin allows users work with in files located in Sharepoint servers.")
STRING_GETTER(get_LegalInfo, out_legal_info, kLegal)
STRING_GETTER(get_Publisher, out_publisher, u"Tessmark Co Ltd.")

VALUE_GETTER(get__GUID, GUID, out_guid, kClassId)
VALUE_GETTER(get_version, DWORD, out_version, kVersion)
VALUE_GETTER(get_VendorID, DWORD, out_vendor_id, 0)
VALUE_GETTER(get_Features, DWORD, out_features, 0)

NOT_PROVIDED(ShowPrefsDlg, HWND)
NOT_PROVIDED(ImportAdditionalData, IStream*)
NOT_PROVIDED(ExportAdditionalData, IStream*)

HRESULT Plugin::ResetSettings() {
    TRACE_ENTRY("Plugin::ResetSettings");
    TRACE_RETURN(S_OK);
}
