// The folder of each site that a dialog was last left in, kept with the plug-in's settings: newest first, ten
// at most. Main thread.
#pragma once

#include <string>

class PluginContext;

// Empty when there is none.
std::u16string GetRecentFolder(PluginContext& plugin, const std::u16string& web_url);
void RememberFolder(PluginContext& plugin, const std::u16string& web_url, const std::u16string& folder_url);
