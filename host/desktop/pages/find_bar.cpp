#include "host/desktop/pages/find_bar.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>
#include <QToolButton>

#include "host/desktop/language/translated.h"
#include "host/desktop/pages/finder.h"

namespace pages {

FindBar::FindBar(Finder& finder, QWidget* parent) : QFrame(parent), m_finder(finder) {
    setObjectName(QStringLiteral("findBar"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 6, 6, 6);
    layout->setSpacing(4);
    m_text = new QLineEdit(this);
    m_text->setObjectName(QStringLiteral("findBar.text"));
    desktop::SetTranslated(m_text, "placeholderText", "Find in the document");
    desktop::SetTranslated(m_text, "accessibleName", "Find in the document");
    m_text->setClearButtonEnabled(true);
    m_text->setMinimumWidth(200);
    m_count = new QLabel(this);
    m_count->setObjectName(QStringLiteral("findBar.count"));
    m_count->setMinimumWidth(fontMetrics().horizontalAdvance(tr("No matches")) + 8);
    m_count->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_text);
    layout->addWidget(m_count);
    m_previous = AddButton(QStringLiteral("findBar.previous"), QStringLiteral("\u2191"),
                           QStringLiteral("Previous match (Shift+F3)"));
    m_next = AddButton(QStringLiteral("findBar.next"), QStringLiteral("\u2193"),
                       QStringLiteral("Next match (F3)"));
    QToolButton* const close =
        AddButton(QStringLiteral("findBar.close"), QStringLiteral("\u00d7"), QStringLiteral("Close (Esc)"));
    connect(m_previous, &QToolButton::clicked, &m_finder, &Finder::Previous);
    connect(m_next, &QToolButton::clicked, &m_finder, &Finder::Next);
    connect(close, &QToolButton::clicked, this, &FindBar::CloseBar);

    // A search starts when typing pauses.
    auto* const pause = new QTimer(this);
    pause->setSingleShot(true);
    pause->setInterval(150);
    connect(m_text, &QLineEdit::textChanged, pause, qOverload<>(&QTimer::start));
    connect(pause, &QTimer::timeout, this, [this] {
        if (isVisible() && m_text->text() != m_finder.Text()) emit TextChanged(m_text->text());
    });
    connect(&m_finder, &Finder::Changed, this, &FindBar::ShowCount);
    ShowCount();
    hide();
}

void FindBar::Open() {
    show();
    raise();
    m_text->setFocus(Qt::ShortcutFocusReason);
    m_text->selectAll();
    if (!m_text->text().isEmpty() && m_finder.Text().isEmpty()) emit TextChanged(m_text->text());
}

void FindBar::CloseBar() {
    hide();
    emit TextChanged({});
    emit Closed();
}

void FindBar::keyPressEvent(QKeyEvent* event) {
    const bool backwards = event->modifiers() & Qt::ShiftModifier;
    if (event->key() == Qt::Key_Escape) {
        CloseBar();
    } else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter ||
               event->key() == Qt::Key_F3) {
        if (m_text->text() != m_finder.Text()) {
            emit TextChanged(m_text->text());
        } else {
            (backwards ? m_previous : m_next)->click();
        }
    } else {
        QFrame::keyPressEvent(event);
    }
}

QToolButton* FindBar::AddButton(const QString& name, const QString& sign, const QString& text) {
    auto* const button = new QToolButton(this);
    button->setObjectName(name);
    button->setText(sign);
    desktop::SetTranslated(button, "toolTip", text);
    desktop::SetTranslated(button, "accessibleName", text);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    layout()->addWidget(button);
    return button;
}

void FindBar::ShowCount() {
    const int total = m_finder.Total();
    QString count;
    if (total > 0) {
        count = tr("%1 of %2").arg(m_finder.CurrentNumber()).arg(total);
    } else if (!m_finder.Text().isEmpty()) {
        count = m_finder.IsRunning() ? tr("Searching\u2026") : tr("No matches");
    }
    m_count->setText(count);
    m_previous->setEnabled(total > 0);
    m_next->setEnabled(total > 0);
    adjustSize();
}

}  // namespace pages
