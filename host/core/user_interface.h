// The extension "UIX": icons of PNG pictures, commands and bars, and windows made from templates.
// Any thread; an object by one thread at a time.
#pragma once

#include "host/dialogs/dialogs.h"
#include "host/workbench/workbench.h"
#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

namespace host {

// The dialogs and the workbench outlive it. `note` gets a sentence for people where a window can't be made.
ComPtr<TMK::IUIX_Inst> MakeUserInterfaceExtension(Dialogs& dialogs, Workbench& workbench,
                                                  std::function<void(const std::string&)> note);

}  // namespace host
