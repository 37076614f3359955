// What runs for a document or a folder: a text, how far it is, and Cancel. Shows itself when a job takes
// longer than half a second. Main thread only.
#pragma once

#include <QFrame>
#include <QTimer>
#include <memory>

#include "host/desktop/front_end/desktop_front_end.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace desktop {

class BusyStrip final : public QFrame {
    Q_OBJECT
public:
    explicit BusyStrip(QWidget* parent = nullptr);

    void Begin(const QString& text, std::shared_ptr<Progress> progress);
    void End();

signals:
    // The person gave up; the job is told already.
    void Canceled();

private:
    void Update();

    QLabel* m_text;
    QProgressBar* m_bar;
    QPushButton* m_cancel;
    QTimer m_delay;
    QTimer m_updates;
    std::shared_ptr<Progress> m_progress;
};

}  // namespace desktop
