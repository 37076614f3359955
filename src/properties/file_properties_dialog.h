// Shows a document's library columns to a person and lets them be edited. It shows itself on the thread of
// the call, which is the host's main thread.
#pragma once

#include "base/plugin_context.h"
#include "properties/fields_prop_host.h"

namespace Ui::FilePropertiesDialog {

// The values are written while they are edited: E_CANCELED leaves changes behind. `parent` may be null.
HRESULT Show(PluginContext& plugin, HWND parent, const TMK::Fields& fields);

}  // namespace Ui::FilePropertiesDialog
