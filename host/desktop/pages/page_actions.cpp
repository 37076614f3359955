#include "host/desktop/pages/page_actions.h"

#include <algorithm>

#include "host/desktop/language/translated.h"
#include "host/desktop/pages/pdf/failure.h"

namespace pages {

PageActions::PageActions(pdf::Document& document, std::function<QList<int>()> selected, QObject* parent)
    : QObject(parent), m_document(document), m_selected(std::move(selected)) {
    Add(QStringLiteral("page.rotateLeft"), QStringLiteral("Rotate &Left"), QKeySequence("Ctrl+Shift+L"),
        [this](const QList<int>& pages) { m_document.Rotate(pages, -90); });
    Add(QStringLiteral("page.rotateRight"), QStringLiteral("Rotate &Right"), QKeySequence("Ctrl+Shift+R"),
        [this](const QList<int>& pages) { m_document.Rotate(pages, 90); });
    Add(QStringLiteral("page.rotateHalf"), QStringLiteral("Rotate by &180\u00b0"), {},
        [this](const QList<int>& pages) { m_document.Rotate(pages, 180); });
    m_all.append(nullptr);
    Add(QStringLiteral("page.moveUp"), QStringLiteral("Move &Up"), QKeySequence("Ctrl+Up"),
        [this](const QList<int>& pages) { m_document.Move(pages, pages.first() - 1); });
    Add(QStringLiteral("page.moveDown"), QStringLiteral("Move &Down"), QKeySequence("Ctrl+Down"),
        [this](const QList<int>& pages) { m_document.Move(pages, pages.last() + 2); });
    Add(QStringLiteral("page.duplicate"), QStringLiteral("Du&plicate"), {},
        [this](const QList<int>& pages) { m_document.Duplicate(pages); });
    Add(QStringLiteral("page.insert"), QStringLiteral("&Insert Pages of a File\u2026"), {},
        [this](const QList<int>& pages) { emit InsertRequested(pages.last() + 1); });
    m_all.append(nullptr);
    Add(QStringLiteral("page.delete"), QStringLiteral("D&elete"), QKeySequence(Qt::Key_Delete),
        [this](const QList<int>& pages) { m_document.Delete(pages); });
    connect(&m_document, &pdf::Document::PagesChanged, this, &PageActions::UpdateEnabled);
    connect(&m_document, &pdf::Document::EditableChanged, this, &PageActions::UpdateEnabled);
    UpdateEnabled();
}

QAction* PageActions::Named(const QString& name) const {
    const auto found = std::find_if(m_all.begin(), m_all.end(), [&](const QAction* action) {
        return action && action->objectName() == name;
    });
    return found == m_all.end() ? nullptr : *found;
}

void PageActions::UpdateEnabled() {
    const QList<int> pages = m_selected();
    const bool some = m_document.CanEditPages() && !pages.isEmpty();
    for (QAction* const action : m_all) {
        if (action) action->setEnabled(some);
    }
    if (!some) return;
    Named(QStringLiteral("page.moveUp"))->setEnabled(pages.first() > 0);
    Named(QStringLiteral("page.moveDown"))->setEnabled(pages.last() < m_document.PageCount() - 1);
    Named(QStringLiteral("page.delete"))->setEnabled(pages.size() < m_document.PageCount());
}

void PageActions::Add(const QString& name, const QString& text, const QKeySequence& key,
                      std::function<void(const QList<int>&)> work) {
    auto* const action = new QAction(this);
    desktop::SetTranslated(action, "text", text);
    action->setObjectName(name);
    action->setShortcut(key);
    // The keys hold where the pages are listed, so that Delete in a text field deletes text.
    action->setShortcutContext(Qt::WidgetShortcut);
    connect(action, &QAction::triggered, this, [this, work = std::move(work)] { Try(work); });
    m_all.append(action);
}

void PageActions::Try(const std::function<void(const QList<int>&)>& work) {
    const QList<int> pages = m_selected();
    if (pages.isEmpty()) return;
    try {
        work(pages);
    } catch (const pdf::Failure& failure) {
        emit Failed(failure.Sentence());
    }
}

}  // namespace pages
