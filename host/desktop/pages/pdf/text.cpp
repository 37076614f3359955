#include "host/desktop/pages/pdf/text.h"

#include <QPdfLink>
#include <QPdfSearchModel>
#include <QPdfSelection>
#include <algorithm>
#include <limits>

namespace pdf {

namespace {

TextPart ToPart(const QPdfSelection& selection, const QTransform& to_shown) {
    TextPart part{selection.text(), {}};
    for (const QPolygonF& area : selection.bounds()) part.areas.append(to_shown.map(area));
    return part;
}

// Inside the text, where the engine finds a character.
QPointF NearestText(const QList<QPolygonF>& areas, QPointF point) {
    QPointF nearest = point;
    qreal least = std::numeric_limits<qreal>::max();
    for (const QPolygonF& area : areas) {
        const QRectF rect = area.boundingRect();
        const qreal inset = std::min(1.0, std::min(rect.width(), rect.height()) / 4);
        const QRectF inner = rect.adjusted(inset, inset, -inset, -inset);
        const QPointF inside(std::clamp(point.x(), inner.left(), inner.right()),
                             std::clamp(point.y(), inner.top(), inner.bottom()));
        const QPointF way = inside - point;
        // A line above or below is farther than the end of the same line.
        const qreal distance = way.x() * way.x() + 16 * way.y() * way.y();
        if (distance >= least) continue;
        least = distance;
        nearest = inside;
    }
    return nearest;
}

}  // namespace

TextPart TextBetween(QPdfDocument& document, const Source& source, int page, std::optional<QPointF> from,
                     std::optional<QPointF> to) {
    const QTransform to_shown = source.FromTextPlace(page);
    const QTransform to_text = to_shown.inverted();
    const QPdfSelection all = document.getAllText(page);
    if (!all.isValid() || all.bounds().isEmpty()) return {};
    if (!from && !to) return ToPart(all, to_shown);
    const QRectF first = all.bounds().first().boundingRect();
    const QRectF last = all.bounds().last().boundingRect();
    const QPointF begin = NearestText(all.bounds(), from ? to_text.map(*from) : first.topLeft());
    const QPointF end = NearestText(all.bounds(), to ? to_text.map(*to) : last.bottomRight());
    // The engine takes the last letter along only when the second point is the later one in the text.
    const QPdfSelection downwards = document.getSelection(page, begin, end);
    const QPdfSelection upwards = document.getSelection(page, end, begin);
    return ToPart(downwards.text().size() >= upwards.text().size() ? downwards : upwards, to_shown);
}

TextPart WordAt(QPdfDocument& document, const Source& source, int page, QPointF point) {
    const QTransform to_shown = source.FromTextPlace(page);
    const QPointF begin_point = to_shown.inverted().map(point);
    const QPdfSelection all = document.getAllText(page);
    const QList<QPolygonF> areas = all.bounds();
    const bool on_text = std::any_of(areas.begin(), areas.end(), [&](const QPolygonF& area) {
        return area.boundingRect().contains(begin_point);
    });
    if (!on_text) return {};
    const QPointF end = NearestText(areas, areas.last().boundingRect().bottomRight());
    const QPdfSelection rest = document.getSelection(page, begin_point, end);
    if (!rest.isValid()) return {};
    const QString text = all.text();
    const auto in_word = [&](int at) { return at >= 0 && at < text.size() && text[at].isLetterOrNumber(); };
    int begin = rest.startIndex();
    if (!in_word(begin)) return {};
    int behind = begin;
    while (in_word(begin - 1)) --begin;
    while (in_word(behind)) ++behind;
    return ToPart(document.getSelectionAtIndex(page, begin, behind - begin), to_shown);
}

QList<Match> FindOnPage(QPdfDocument& document, const Source& source, int page, const QString& text) {
    const QTransform to_shown = source.FromTextPlace(page);
    QPdfSearchModel search;
    search.setDocument(&document);
    search.setSearchString(text);
    QList<Match> matches;
    for (const QPdfLink& link : search.resultsOnPage(page)) {
        Match match;
        for (const QRectF& area : link.rectangles()) match.append(to_shown.mapRect(area));
        matches.append(match);
    }
    return matches;
}

}  // namespace pdf
