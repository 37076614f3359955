// The extension "UIX": icons of PNG pictures, commands and bars, and windows, which the front end makes.
// Any thread; an object by one thread at a time.
#pragma once

#include "host/browser/windows.h"
#include "host/workbench/workbench.h"
#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

namespace host {

// The windows and the workbench outlive it.
ComPtr<TMK::IUIX_Inst> MakeUserInterfaceExtension(Windows& windows, Workbench& workbench);

}  // namespace host
