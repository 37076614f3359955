#include "host/desktop/pages/printing.h"

#include <QPainter>
#include <QPrinter>
#include <algorithm>

#include "host/desktop/pages/pdf/failure.h"

namespace pages {

namespace {

constexpr int kMostDotsPerInch = 300;

void PrintPage(QPainter& painter, const pdf::Page& page, const QRectF& sheet, int dots_per_inch,
               pdf::Renderer& renderer) {
    const QSizeF points = page.source->PageSize(page.index);
    // A page that lies on its side is turned with the sheet.
    const QSizeF shown = page.Size();
    const bool turned = (shown.width() > shown.height()) != (sheet.width() > sheet.height());
    const int rotation = page.rotation + (turned ? 90 : 0);
    const QSizeF room = rotation % 180 != 0 ? sheet.size().transposed() : sheet.size();
    const QSizeF on_sheet = points.scaled(room, Qt::KeepAspectRatio);
    const double density = static_cast<double>(std::min(dots_per_inch, kMostDotsPerInch)) / dots_per_inch;
    const QSize pixels = (on_sheet * density).toSize().expandedTo({1, 1});
    const QImage image = renderer.Draw({page.source, page.index, pixels, QRect({}, pixels)});
    if (image.isNull()) return;
    painter.save();
    painter.translate(sheet.center());
    painter.rotate(rotation);
    painter.drawImage(QRectF(QPointF(-on_sheet.width() / 2, -on_sheet.height() / 2), on_sheet), image);
    painter.restore();
}

}  // namespace

bool Print(const pdf::State& state, const QList<int>& pages, QPrinter& printer, pdf::Renderer& renderer,
           const std::function<bool(int done)>& progress) {
    if (!state.main->Allowed().print) {
        throw pdf::Failure(
            QStringLiteral("The author of %1 doesn't allow printing.").arg(state.main->Name()));
    }
    QPainter painter;
    if (!painter.begin(&printer)) {
        throw pdf::Failure(
            QStringLiteral("The printer doesn't start. Check that it is connected and has paper."));
    }
    int done = 0;
    for (const int page : pages) {
        if (done > 0 && !printer.newPage())
            throw pdf::Failure(QStringLiteral("The printer stopped after %1 pages.").arg(done));
        const QRectF sheet({}, printer.pageRect(QPrinter::DevicePixel).size());
        PrintPage(painter, state.pages[page], sheet, printer.resolution(), renderer);
        ++done;
        if (progress && !progress(done)) {
            printer.abort();
            return false;
        }
    }
    return true;
}

}  // namespace pages
