// The page of the host's preferences window. Main thread only.
#pragma once

#include "base/plugin_context.h"

namespace Ui {

inline constexpr char16_t kPreferencesPageName[] = u"DlgAppPrefs.SharePoint.Name";

// An IUIX_PropPage; the context outlives it.
ComPtr<IUnknown> CreatePreferencesPage(PluginContext& plugin);

}  // namespace Ui
