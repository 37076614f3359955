// The windows of plug-ins and of progress, shown by Qt in front of the editor's window. Main thread only.
#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>

#include "host/dialogs/views.h"

namespace desktop {

// `parent` is asked each time, and outlives the views.
std::unique_ptr<host::DialogViews> MakeDialogViews(const QPointer<QWidget>& parent);

}  // namespace desktop
