// The instance object that a plug-in gets from the host. Any thread.
#pragma once

#include "host/core/plugin_services.h"

namespace host {

// The services outlive the plug-ins that hold it.
ComPtr<TMK::ITMK_Inst> MakeInstance(PluginServices& services);

}  // namespace host
