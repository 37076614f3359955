// What can be done with the selected pages, as actions with texts, keys and names, for the thumbnails' menu
// and for any ribbon or menu bar. Each is disabled when it can't be done now. Main thread.
#pragma once

#include <QAction>
#include <QList>
#include <QObject>
#include <functional>

#include "host/desktop/pages/pdf/document.h"

namespace pages {

class PageActions final : public QObject {
    Q_OBJECT

public:
    // `selected` gives the pages that the actions work on.
    PageActions(pdf::Document& document, std::function<QList<int>()> selected, QObject* parent);

    // In the order of a menu; null stands for a separator.
    const QList<QAction*>& All() const { return m_all; }
    // By its object name: page.rotateLeft, page.rotateRight, page.rotateHalf, page.moveUp, page.moveDown,
    // page.duplicate, page.insert, page.delete. Null for another.
    QAction* Named(const QString& name) const;
    void UpdateEnabled();

signals:
    // Somebody chooses a file now, whose pages then go before this page.
    void InsertRequested(int before);
    // What a person tried was not possible: one sentence.
    void Failed(const QString& sentence);

private:
    void Add(const QString& name, const QString& text, const QKeySequence& key,
             std::function<void(const QList<int>&)> work);
    void Try(const std::function<void(const QList<int>&)>& work);

    pdf::Document& m_document;
    const std::function<QList<int>()> m_selected;
    QList<QAction*> m_all;
};

}  // namespace pages
