#include "host/desktop/window/busy_strip.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include "host/desktop/language/translated.h"

namespace desktop {

namespace {

constexpr int kDelayMs = 500;
constexpr int kUpdateMs = 100;
constexpr int kSteps = 1000;

}  // namespace

BusyStrip::BusyStrip(QWidget* parent)
    : QFrame(parent), m_text(new QLabel), m_bar(new QProgressBar), m_cancel(new QPushButton) {
    setObjectName("progress");
    m_text->setTextFormat(Qt::PlainText);
    m_bar->setTextVisible(false);
    m_bar->setFixedSize(160, 8);
    SetTranslated(m_cancel, "text", "Cancel");
    m_cancel->setObjectName("btn.cancel");
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(12, 6, 12, 6);
    row->addWidget(m_text);
    row->addWidget(m_bar);
    row->addStretch(1);
    row->addWidget(m_cancel);
    m_delay.setSingleShot(true);
    m_delay.setInterval(kDelayMs);
    m_updates.setInterval(kUpdateMs);
    connect(&m_delay, &QTimer::timeout, this, [this] {
        Update();
        show();
    });
    connect(&m_updates, &QTimer::timeout, this, &BusyStrip::Update);
    connect(m_cancel, &QPushButton::clicked, this, [this] {
        if (m_progress) m_progress->is_canceled = true;
        End();
        emit Canceled();
    });
    hide();
}

void BusyStrip::Begin(const QString& text, std::shared_ptr<Progress> progress) {
    m_text->setText(text);
    m_bar->setAccessibleName(text);
    m_progress = std::move(progress);
    m_delay.start();
    m_updates.start();
}

void BusyStrip::End() {
    m_delay.stop();
    m_updates.stop();
    m_progress.reset();
    hide();
}

void BusyStrip::Update() {
    if (!m_progress) return;
    const std::uint64_t total = m_progress->total;
    m_bar->setRange(0, total ? kSteps : 0);
    if (total)
        m_bar->setValue(
            static_cast<int>(std::min<std::uint64_t>(m_progress->position, total) * kSteps / total));
}

}  // namespace desktop
