// The window behind the preferences page: hidden paths of the open and save dialog, and the log. Any thread;
// it shows itself on the host's main thread.
#pragma once

#include "base/plugin_context.h"

namespace Ui::AdvancedPreferencesDialog {

// OK changes `preferences` and stores nothing; E_CANCELED leaves them. `parent` may be null.
HRESULT Show(PluginContext& plugin, HWND parent, Preferences& preferences);

}  // namespace Ui::AdvancedPreferencesDialog
