#include "host/desktop/front_end/qt_main_thread.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>

namespace desktop {

namespace {

const QEvent::Type kWork = static_cast<QEvent::Type>(QEvent::registerEventType());
constexpr int kCheckIntervalMs = 20;

}  // namespace

void QtMainThread::Wake() {
    QCoreApplication::postEvent(this, new QEvent(kWork));
}

bool QtMainThread::event(QEvent* event) {
    if (event->type() != kWork) return QObject::event(event);
    RunOne();
    return true;
}

void QtMainThread::PumpUntil(const std::function<bool()>& done) {
    QTimer wake;
    wake.start(kCheckIntervalMs);
    if (m_depth++ == 0) emit PumpingChanged(true);
    while (!done()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (--m_depth == 0) emit PumpingChanged(false);
}

}  // namespace desktop
