// The main thread's queue of work, run by Qt's event loop. Made on Qt's thread, after the application.
#pragma once

#include <QObject>

#include "host/base/main_thread.h"

namespace desktop {

class QtMainThread final : public QObject, public host::MainThread {
    Q_OBJECT
public:
    QtMainThread() = default;
    void PumpUntil(const std::function<bool()>& done) override;

    // How many PumpUntil calls are under way.
    int depth() const { return m_depth; }

signals:
    // A call of a plug-in waits in PumpUntil, or the last one of them has ended.
    void PumpingChanged(bool is_pumping);

private:
    void Wake() override;
    bool event(QEvent* event) override;

    int m_depth = 0;
};

}  // namespace desktop
