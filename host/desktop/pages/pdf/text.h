// Text of a page: what lies between two points, words, and where a text is found. Slow on heavy pages, so
// for Renderer::Ask. Points are those of the page as its source shows it.
#pragma once

#include <QList>
#include <QPdfDocument>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <QString>
#include <optional>

#include "host/desktop/pages/pdf/source.h"

namespace pdf {

struct TextPart {
    QString text;
    QList<QPolygonF> areas;
};

// From one point to another, from the page's beginning or to its end where there is none. A point beside
// the text stands for the nearest text.
TextPart TextBetween(QPdfDocument& document, const Source& source, int page, std::optional<QPointF> from,
                     std::optional<QPointF> to);
TextPart WordAt(QPdfDocument& document, const Source& source, int page, QPointF point);

// The areas of each match, in the order of the page. Upper and lower case are the same.
using Match = QList<QRectF>;
QList<Match> FindOnPage(QPdfDocument& document, const Source& source, int page, const QString& text);

}  // namespace pdf
