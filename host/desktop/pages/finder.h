// Looks for a text through all pages, from the page in view on, without holding up anything. Main thread.
#pragma once

#include <QObject>
#include <QString>
#include <deque>
#include <map>
#include <optional>
#include <utility>

#include "host/desktop/pages/pdf/document.h"
#include "host/desktop/pages/pdf/renderer.h"
#include "host/desktop/pages/pdf/text.h"

namespace pages {

class Finder final : public QObject {
    Q_OBJECT

public:
    Finder(pdf::Document& document, std::shared_ptr<pdf::Renderer> renderer, QObject* parent);

    // An empty text ends a search.
    void Start(const QString& text, int first_page);
    const QString& Text() const { return m_text; }
    bool IsRunning() const { return m_is_waiting || !m_pending.empty(); }
    int Total() const;
    // The number of the current match, from 1 on; 0 without one.
    int CurrentNumber() const;
    void Next() { Step(1); }
    void Previous() { Step(-1); }

    // Of a page of the document; the areas are of the page as its source shows it.
    QList<pdf::Match> On(int page) const;
    struct Place {
        quint64 page_id;
        int match;
        bool operator==(const Place&) const = default;
    };
    const std::optional<Place>& Current() const { return m_current; }

signals:
    void Changed();
    // The current match is another one, to be shown.
    void Moved();

private:
    using Key = std::pair<quint64, int>;  // a source and its page

    static Key KeyOf(const pdf::Page& page) { return {page.source->Id(), page.index}; }
    std::vector<Place> Places() const;
    void LookAtAll(int first_page);
    void AskNext();
    void Take(const pdf::Page& page, const QList<pdf::Match>& matches);
    void Step(int by);
    void OnPagesChanged();

    pdf::Document& m_document;
    const std::shared_ptr<pdf::Renderer> m_renderer;
    QString m_text;
    std::deque<pdf::Page> m_pending;
    std::map<Key, QList<pdf::Match>> m_found;
    std::optional<Place> m_current;
    quint64 m_search = 0;  // answers of an earlier search are dropped
    bool m_is_waiting = false;
};

}  // namespace pages
