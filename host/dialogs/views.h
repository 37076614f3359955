// What shows the windows of plug-ins: the front end's half, a window of Qt or a script of a test. Main thread
// only.
#pragma once

#include <memory>
#include <string>

#include "host/base/host_objects.h"
#include "host/dialogs/control.h"

namespace host {

class DialogWindow;

// What a view hears of its window.
class DialogListener {
public:
    virtual ~DialogListener() = default;
    virtual void ControlChanged(Control& /*control*/, ControlChange /*change*/) {}
    virtual void ControlAdded(Control& /*control*/) {}
    virtual void TitleChanged() {}
    virtual void BarsChanged() {}
};

// A window is shown as long as its view lives.
class DialogView {
public:
    virtual ~DialogView() = default;
    // Called while the window waits, after each piece of work.
    virtual void Poll() {}
};

// Long work: its texts and its cancel flag. The window of a progress that was canceled stays until the work
// ends.
struct ProgressTexts {
    std::u16string title;
    std::u16string text;
    std::u16string status;
};

class ProgressView {
public:
    virtual ~ProgressView() = default;
    virtual void Update(const ProgressTexts& texts) = 0;
};

class DialogViews {
public:
    virtual ~DialogViews() = default;
    // Called inside DoModal, before the window's implementation hears that it is shown. The window outlives
    // the view.
    virtual std::unique_ptr<DialogView> Show(DialogWindow& window) = 0;
    // `cancel` is set when the person gives up.
    virtual std::unique_ptr<ProgressView> ShowProgress(const ProgressTexts& texts,
                                                       ComPtr<CancelFlag> cancel) = 0;
};

}  // namespace host
