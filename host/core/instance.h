// The instance object and the extension "AFS" that a plug-in gets from the host. Any thread.
#pragma once

#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

namespace host {

class Host;

// Both refer to the host, which outlives the plug-ins that hold them.
ComPtr<TMK::ITMK_Inst> MakeInstance(Host& host);
ComPtr<TMK::IAFS_Inst> MakeFileSystems(Host& host);

}  // namespace host
