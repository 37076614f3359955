// Windows that hold a browser's pane and nothing else; the pane shows, resizes and closes them. For front
// ends without windows of their own. Main thread only.
#pragma once

#include <memory>

#include "host/base/main_thread.h"
#include "host/browser/windows.h"

namespace host {

// The main thread outlives them.
std::unique_ptr<Windows> MakePaneWindows(MainThread& main_thread);

}  // namespace host
