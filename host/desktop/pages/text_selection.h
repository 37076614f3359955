// The text that a person selects, from a point of one page to a point of another. Main thread; the text
// arrives later, from the thread of the pages.
#pragma once

#include <QObject>
#include <QPointF>
#include <map>
#include <optional>

#include "host/desktop/pages/pdf/document.h"
#include "host/desktop/pages/pdf/renderer.h"
#include "host/desktop/pages/pdf/text.h"

namespace pages {

class TextSelection final : public QObject {
    Q_OBJECT

public:
    TextSelection(pdf::Document& document, std::shared_ptr<pdf::Renderer> renderer, QObject* parent);

    // Points are of the page as its source shows it.
    void Begin(int page, QPointF point);
    void Extend(int page, QPointF point);
    bool IsBegun() const { return m_begin.has_value(); }
    void SelectWord(int page, QPointF point);
    void SelectAll();
    void Clear();

    bool IsEmpty() const;
    QString Text() const;
    QList<QPolygonF> AreasOn(int page) const;

signals:
    void Changed();

private:
    struct End {
        quint64 page_id;
        QPointF point;
    };

    void Ask(int page, std::optional<QPointF> from, std::optional<QPointF> to);
    void Take(quint64 page_id, const pdf::TextPart& part);

    pdf::Document& m_document;
    const std::shared_ptr<pdf::Renderer> m_renderer;
    std::optional<End> m_begin;
    std::map<quint64, pdf::TextPart> m_parts;  // by page id
    std::map<quint64, quint64> m_asked;        // by page id: its latest question
    quint64 m_last_question = 0;
};

}  // namespace pages
