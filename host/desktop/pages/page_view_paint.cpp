// How a PageView paints its pages, and which drawings it asks for.
#include <QPaintEvent>
#include <QPainter>
#include <cmath>

#include "host/desktop/pages/finder.h"
#include "host/desktop/pages/page_view.h"
#include "host/desktop/pages/text_selection.h"

namespace pages {

namespace {

constexpr int kTile = 1024;
constexpr qint64 kMostPixelsInOnePiece = qint64{4} << 20;

qint64 Pixels(QSize size) {
    return qint64{size.width()} * size.height();
}

bool IsDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128;
}

QColor Desk(const QPalette& palette) {
    const QColor window = palette.color(QPalette::Window);
    return IsDark(palette) ? window.darker(150) : window.darker(110);
}

}  // namespace

void PageView::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.fillRect(event->rect(), Desk(palette()));
    std::vector<pdf::Tile> wanted;
    const auto [first, behind] = VisiblePages();
    for (int page = first; page < behind; ++page) {
        PaintPage(painter, page, wanted);
        PaintMarks(painter, page);
    }
    WantNeighbours(wanted);
    constexpr int kUrgencyOfPages = 0;
    m_renderer->Want(this, kUrgencyOfPages, std::move(wanted));
}

// Of the page as its source shows it, in device pixels.
QSize PageView::PixelSize(int page) const {
    const QSizeF size = QSizeF(PageRect(page).size()) * devicePixelRatioF();
    const QSizeF shown = m_document.Pages()[page].IsOnItsSide() ? size.transposed() : size;
    return QSize(static_cast<int>(std::lround(shown.width())), static_cast<int>(std::lround(shown.height())))
        .expandedTo({1, 1});
}

// The pieces of a page that are in view: the whole page, or tiles of it where it is large.
std::vector<pdf::Tile> PageView::TilesOf(int page) const {
    const pdf::Page& shown = m_document.Pages()[page];
    const QSize size = PixelSize(page);
    if (Pixels(size) <= kMostPixelsInOnePiece) return {{shown.source, shown.index, size, QRect({}, size)}};
    const QSizeF points = shown.source->PageSize(shown.index);
    const QRectF seen = ToView(page).inverted().mapRect(QRectF(viewport()->rect()));
    const double to_pixels = size.width() / points.width();
    const QRect part =
        QRectF(seen.topLeft() * to_pixels, seen.size() * to_pixels).toAlignedRect() & QRect({}, size);
    std::vector<pdf::Tile> tiles;
    for (int y = part.top() / kTile * kTile; y <= part.bottom(); y += kTile) {
        for (int x = part.left() / kTile * kTile; x <= part.right(); x += kTile)
            tiles.push_back({shown.source, shown.index, size, QRect(x, y, kTile, kTile) & QRect({}, size)});
    }
    return tiles;
}

void PageView::PaintPage(QPainter& painter, int page, std::vector<pdf::Tile>& out_missing) {
    const QRect rect = PageRect(page);
    painter.setPen(QColor(0, 0, 0, IsDark(palette()) ? 160 : 60));
    painter.setBrush(Qt::white);
    painter.drawRect(rect.adjusted(-1, -1, 0, 0));

    const pdf::Page& shown = m_document.Pages()[page];
    const QSize size = PixelSize(page);
    painter.save();
    painter.setClipRect(rect);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QSizeF points = shown.source->PageSize(shown.index);
    painter.setTransform(ToView(page), true);
    painter.scale(points.width() / size.width(), points.height() / size.height());
    std::vector<std::pair<QRect, QImage>> pieces;
    std::vector<pdf::Tile> missing;
    for (const pdf::Tile& tile : TilesOf(page)) {
        const QImage image = m_renderer->Find(tile);
        if (image.isNull()) {
            missing.push_back(tile);
        } else {
            pieces.emplace_back(tile.part, image);
        }
    }
    // Until all pieces are there, a drawing of another size shows what will come.
    if (!missing.empty()) {
        const QImage rough = m_renderer->FindAny(*shown.source, shown.index);
        if (!rough.isNull()) painter.drawImage(QRect({}, size), rough);
        if (rough.isNull() && Pixels(size) > kMostPixelsInOnePiece) {
            const QSize small = size.scaled(1024, 1024, Qt::KeepAspectRatio).expandedTo({1, 1});
            out_missing.push_back({shown.source, shown.index, small, QRect({}, small)});
        }
    }
    for (const auto& [part, image] : pieces) painter.drawImage(part, image);
    painter.restore();
    if (!pieces.empty() && pieces.front().second.width() == 1 && size.width() > 1) {
        painter.setPen(Qt::darkGray);
        painter.drawText(rect, Qt::AlignCenter, tr("This page can't be shown: its content is damaged."));
    }
    out_missing.insert(out_missing.end(), missing.begin(), missing.end());
}

// Matches of a search and the selection lie over the page as a marker pen would.
void PageView::PaintMarks(QPainter& painter, int page) {
    painter.save();
    painter.setClipRect(PageRect(page));
    painter.setTransform(ToView(page), true);
    painter.setPen(Qt::NoPen);
    painter.setCompositionMode(QPainter::CompositionMode_Multiply);
    const QList<pdf::Match> matches = m_finder->On(page);
    const auto& current = m_finder->Current();
    for (int i = 0; i < matches.size(); ++i) {
        const bool is_current = current && *current == Finder::Place{m_document.Pages()[page].id, i};
        painter.setBrush(is_current ? QColor(255, 150, 50) : QColor(255, 235, 110));
        for (const QRectF& area : matches[i]) painter.drawRect(area);
    }
    painter.setBrush(QColor(160, 200, 255));
    for (const QPolygonF& area : m_selection->AreasOn(page)) painter.drawPolygon(area);
    painter.restore();
}

// The next pages in both directions are drawn before somebody scrolls to them.
void PageView::WantNeighbours(std::vector<pdf::Tile>& out_wanted) {
    const auto [first, behind] = VisiblePages();
    for (const int page : {behind, first - 1, behind + 1}) {
        if (page < 0 || page >= m_document.PageCount()) continue;
        const std::vector<pdf::Tile> tiles = TilesOf(page);
        if (tiles.size() == 1) out_wanted.push_back(tiles.front());
    }
}

}  // namespace pages
