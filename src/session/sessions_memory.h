// Who signed in to which server last, kept in the plug-in's settings tree. Passwords are not kept there.
#pragma once

#include <string>

#include "base/settings_access.h"
#include "hostapi/iafs.h"
#include "http/session.h"

class PluginContext;

// The element of the array "Sessions" for a server; null when there is none and `create` is false.
HRESULT GetSettings(PluginContext& plugin, const std::u16string& url, bool create, Settings::Node& o_node);

// What the host has stored for the place, or else the last user. Shows nothing. Throws HResultException.
Http::Session::Credentials GetStoredCredentials(const std::u16string& url, PluginContext& plugin,
                                                TMK::IAFS_BindContext* context);
