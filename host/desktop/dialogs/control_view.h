// The widget of a control, kept in step with it both ways. Main thread only; the control outlives the widget.
#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>

#include "host/desktop/dialogs/placing.h"
#include "host/dialogs/dialog_window.h"

namespace desktop {

class ControlView {
public:
    ControlView(host::Control& control, QWidget* widget) : m_control(control), m_widget(widget) {}
    virtual ~ControlView() = default;

    host::Control& control() const { return m_control; }
    QWidget* widget() const { return m_widget; }
    // What the widget needs; `width` is that of its place, for texts that wrap.
    virtual Measured Measure(int width) const;
    // Hands on what is being typed.
    virtual void Commit() {}
    // What the keyboard goes through, in this order.
    virtual std::vector<QWidget*> FocusOrder() const { return {m_widget}; }
    void Apply(host::ControlChange change);

protected:
    virtual void Show(host::ControlChange /*change*/) {}

private:
    host::Control& m_control;
    QWidget* const m_widget;
};

std::unique_ptr<ControlView> MakeControlView(host::Control& control, QWidget* parent);

}  // namespace desktop
