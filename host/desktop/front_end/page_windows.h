// The windows of plug-ins, each of which holds a browser's pane: while one is open, a notice says so in front
// of the editor's window and cancels it. Main thread only.
#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>

#include "host/browser/windows.h"
#include "host/desktop/front_end/qt_main_thread.h"

namespace desktop {

// Both outlive the windows.
std::unique_ptr<host::Windows> MakePageWindows(QtMainThread& main_thread, const QPointer<QWidget>& parent);

}  // namespace desktop
