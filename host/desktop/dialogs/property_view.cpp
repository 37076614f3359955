#include "host/desktop/dialogs/property_view.h"

#include <QEvent>
#include <QLabel>
#include <QVBoxLayout>
#include <utility>

#include "host/desktop/dialogs/property_editor.h"
#include "host/desktop/front_end/text.h"

namespace desktop {

PropertyView::PropertyView(host::PropertyListControl& control, QWidget* parent)
    : QScrollArea(parent), m_control(control) {
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    Reload();
}

// The widgets go first: the last one may still hand on what was typed.
PropertyView::~PropertyView() {
    delete takeWidget();
}

void PropertyView::Reload() {
    m_editors.clear();
    auto* const content = new QWidget;
    auto* const lines = new QVBoxLayout(content);
    lines->setSpacing(4);
    for (const host::PropertyRow& row : m_control.rows()) {
        m_editors.push_back(MakePropertyEditor(m_control, row));
        PropertyEditor& editor = *m_editors.back();
        const QString title = ToQt(row.title);
        auto* const label = new QLabel(QString(title).replace('&', "&&"));
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
        label->setBuddy(editor.widget());
        if (lines->count() > 0) lines->addSpacing(6);
        lines->addWidget(label);
        lines->addWidget(editor.widget());
        editor.widget()->setObjectName("property." + title);
        QList<QWidget*> parts = editor.widget()->findChildren<QWidget*>();
        parts.append(editor.widget());
        for (QWidget* const part : std::as_const(parts)) {
            part->setAccessibleName(title);
            part->installEventFilter(this);
        }
        editor.ShowValue();
        if (row.description.empty()) continue;
        auto* const description = new QLabel(ToQt(row.description));
        description->setTextFormat(Qt::PlainText);
        description->setWordWrap(true);
        description->setForegroundRole(QPalette::PlaceholderText);
        lines->addWidget(description);
        editor.widget()->setToolTip(description->text());
    }
    lines->addStretch();
    setWidget(content);
}

void PropertyView::ShowValues() {
    for (const auto& editor : m_editors) editor->ShowValue();
}

void PropertyView::Commit() {
    for (const auto& editor : m_editors) editor->Commit();
}

std::vector<QWidget*> PropertyView::Editors() const {
    std::vector<QWidget*> widgets;
    for (const auto& editor : m_editors)
        for (QWidget* const part : editor->Parts()) widgets.push_back(part);
    return widgets;
}

bool PropertyView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusOut) {
        for (const auto& editor : m_editors) {
            const auto* const part = static_cast<QWidget*>(watched);
            if (editor->widget() == part || editor->widget()->isAncestorOf(part)) editor->Commit();
        }
    } else if (event->type() == QEvent::FocusIn) {
        ensureWidgetVisible(static_cast<QWidget*>(watched));
    }
    return QScrollArea::eventFilter(watched, event);
}

}  // namespace desktop
