#include "host/desktop/pages/page_view.h"

#include <QAccessibleWidget>
#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>
#include <array>
#include <cmath>

#include "host/desktop/pages/find_bar.h"
#include "host/desktop/pages/finder.h"
#include "host/desktop/pages/text_selection.h"

namespace pages {

namespace {

// For screen readers the pages are a document, not a mere area.
class AccessiblePages final : public QAccessibleWidget {
public:
    explicit AccessiblePages(QWidget* view) : QAccessibleWidget(view, QAccessible::Document) {}
};

QAccessibleInterface* MakeAccessible(const QString&, QObject* object) {
    auto* const view = qobject_cast<PageView*>(object);
    return view ? new AccessiblePages(view) : nullptr;
}

constexpr std::array kZoomSteps{0.1, 0.25, 0.33, 0.5, 0.67, 0.75, 0.9, 1.0, 1.1,  1.25,
                                1.5, 1.75, 2.0,  2.5, 3.0,  4.0,  6.0, 8.0, 12.0, 16.0};

bool IsNearly(double a, double b) {
    return std::abs(a - b) < 0.001;
}

}  // namespace

PageView::PageView(pdf::Document& document, QWidget* parent, std::shared_ptr<pdf::Renderer> renderer)
    : QAbstractScrollArea(parent),
      m_document(document),
      m_renderer(std::move(renderer)),
      m_finder(new Finder(document, m_renderer, this)),
      m_find_bar(new FindBar(*m_finder, this)),
      m_selection(new TextSelection(document, m_renderer, this)) {
    static const bool is_known = (QAccessible::installFactory(&MakeAccessible), true);
    Q_UNUSED(is_known);
    setObjectName(QStringLiteral("pageView"));
    setAccessibleName(tr("Pages of %1").arg(document.Original().Name()));
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    viewport()->setCursor(Qt::IBeamCursor);
    const auto repaint = [this] { viewport()->update(); };
    connect(m_renderer.get(), &pdf::Renderer::Drawn, this, repaint);
    connect(m_finder, &Finder::Changed, this, repaint);
    connect(m_finder, &Finder::Moved, this, &PageView::ShowMatch);
    connect(m_find_bar, &FindBar::TextChanged, this,
            [this](const QString& text) { m_finder->Start(text, m_current_page); });
    connect(m_find_bar, &FindBar::Closed, this, [this] { setFocus(); });
    connect(m_selection, &TextSelection::Changed, this, &PageView::SelectionChanged);
    connect(m_selection, &TextSelection::Changed, this, repaint);
    connect(&m_document, &pdf::Document::PagesChanged, this, &PageView::OnPagesChanged);
    LayOut();
    UpdateCurrentPage();
}

PageView::~PageView() {
    m_renderer->Forget(this);
}

void PageView::SetZoom(double zoom) {
    m_fit = Fit::None;
    ApplyZoom(zoom, viewport()->rect().center());
}

void PageView::SetFit(Fit fit) {
    m_fit = fit;
    if (fit != Fit::None) ApplyZoom(FittingZoom(), {viewport()->width() / 2, 0});
    emit ZoomChanged();
}

void PageView::GoToPage(int page) {
    if (page < 0 || page >= m_layout.Count()) return;
    const QRect rect = m_layout.PageRect(page, viewport()->width());
    verticalScrollBar()->setValue(page == 0 ? 0 : rect.top() - PageLayout::kGap / 2);
    UpdateCurrentPage();
}

bool PageView::HasSelection() const {
    return !m_selection->IsEmpty();
}

QString PageView::SelectedText() const {
    return m_selection->Text();
}

void PageView::Copy() {
    if (HasSelection() && m_document.CanCopy()) QApplication::clipboard()->setText(SelectedText());
}

void PageView::SelectAll() {
    m_selection->SelectAll();
}

void PageView::ClearSelection() {
    m_selection->Clear();
}

void PageView::OpenFindBar() {
    m_find_bar->Open();
    PlaceFindBar();
}

QRect PageView::PageRect(int page) const {
    return m_layout.PageRect(page, viewport()->width())
        .translated(-horizontalScrollBar()->value(), -verticalScrollBar()->value());
}

bool PageView::event(QEvent* event) {
    if (event->type() == QEvent::PaletteChange) viewport()->update();
    return QAbstractScrollArea::event(event);
}

void PageView::resizeEvent(QResizeEvent*) {
    const Anchor anchor = m_anchor;
    if (m_fit != Fit::None) m_zoom = std::clamp(FittingZoom(), kLeastZoom, kMostZoom);
    LayOut();
    Restore(anchor);
    PlaceFindBar();
    if (m_fit != Fit::None) emit ZoomChanged();
}

void PageView::scrollContentsBy(int, int) {
    UpdateCurrentPage();
    viewport()->update();
}

void PageView::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) {
        Copy();
    } else if (event->matches(QKeySequence::SelectAll)) {
        SelectAll();
    } else if (event->matches(QKeySequence::Find)) {
        OpenFindBar();
    } else if (event->matches(QKeySequence::FindNext)) {
        m_finder->Next();
    } else if (event->matches(QKeySequence::FindPrevious)) {
        m_finder->Previous();
    } else if (event->matches(QKeySequence::ZoomIn)) {
        ZoomIn();
    } else if (event->matches(QKeySequence::ZoomOut)) {
        ZoomOut();
    } else if (event->key() == Qt::Key_Home) {
        GoToPage(0);
    } else if (event->key() == Qt::Key_End) {
        verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMaximum);
    } else if (event->key() == Qt::Key_Space) {
        const bool up = event->modifiers() & Qt::ShiftModifier;
        verticalScrollBar()->triggerAction(up ? QAbstractSlider::SliderPageStepSub
                                              : QAbstractSlider::SliderPageStepAdd);
    } else if (event->key() == Qt::Key_Escape && HasSelection()) {
        ClearSelection();
    } else {
        QAbstractScrollArea::keyPressEvent(event);
    }
}

void PageView::wheelEvent(QWheelEvent* event) {
    if (!(event->modifiers() & Qt::ControlModifier)) {
        QAbstractScrollArea::wheelEvent(event);
        return;
    }
    constexpr double kZoomOfANotch = 1.2;
    constexpr double kNotch = 120;
    m_fit = Fit::None;
    ApplyZoom(m_zoom * std::pow(kZoomOfANotch, event->angleDelta().y() / kNotch),
              event->position().toPoint());
    event->accept();
}

void PageView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    QPointF point;
    const int page = PageUnder(event->pos(), &point);
    if (page < 0) {
        m_selection->Clear();
    } else if (event->modifiers() & Qt::ShiftModifier && m_selection->IsBegun()) {
        m_selection->Extend(page, point);
    } else {
        m_selection->Begin(page, point);
    }
}

// Dragging beyond the edge scrolls.
void PageView::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton)) return;
    const int beyond =
        event->pos().y() < 0 ? event->pos().y() : std::max(0, event->pos().y() - viewport()->height());
    verticalScrollBar()->setValue(verticalScrollBar()->value() + beyond);
    QPointF point;
    const int page = PageUnder(event->pos(), &point);
    if (page >= 0) m_selection->Extend(page, point);
}

void PageView::mouseReleaseEvent(QMouseEvent*) {
    if (HasSelection() && m_document.CanCopy() && QApplication::clipboard()->supportsSelection())
        QApplication::clipboard()->setText(SelectedText(), QClipboard::Selection);
}

void PageView::mouseDoubleClickEvent(QMouseEvent* event) {
    QPointF point;
    const int page = PageUnder(event->pos(), &point);
    if (page >= 0) m_selection->SelectWord(page, point);
}

double PageView::PixelsPerPoint(double zoom) const {
    return zoom * logicalDpiX() / 72;
}

double PageView::FittingZoom() const {
    double width = 0;
    for (const pdf::Page& page : m_document.Pages()) width = std::max(width, page.Size().width());
    const double per_point = PixelsPerPoint(1);
    const double by_width = (viewport()->width() - 2 * PageLayout::kMargin) / (width * per_point);
    if (m_fit == Fit::Width) return by_width;
    const QSizeF page = m_document.Pages()[m_current_page].Size();
    const double by_height = (viewport()->height() - 2 * PageLayout::kGap) / (page.height() * per_point);
    return std::min(by_height, (viewport()->width() - 2 * PageLayout::kMargin) / (page.width() * per_point));
}

PageView::Anchor PageView::AnchorAt(QPoint in_view) const {
    if (m_layout.Count() == 0) return {};
    const int page = m_layout.PageAt(in_view.y() + verticalScrollBar()->value());
    const QRect rect = PageRect(page);
    const QPointF from_corner = in_view - rect.topLeft();
    // Pages that were just deleted are still in the layout.
    const quint64 id = page < m_document.PageCount() ? m_document.Pages()[page].id : 0;
    return {id, {from_corner.x() / rect.width(), from_corner.y() / rect.height()}, in_view};
}

void PageView::Restore(const Anchor& anchor) {
    const int page = m_document.IndexOf(anchor.page_id);
    if (page >= 0) {
        const QRect rect = m_layout.PageRect(page, viewport()->width());
        const QPoint point(static_cast<int>(std::lround(rect.left() + anchor.on_page.x() * rect.width())),
                           static_cast<int>(std::lround(rect.top() + anchor.on_page.y() * rect.height())));
        horizontalScrollBar()->setValue(point.x() - anchor.in_view.x());
        verticalScrollBar()->setValue(point.y() - anchor.in_view.y());
    }
    UpdateCurrentPage();
}

void PageView::ApplyZoom(double zoom, QPoint in_view) {
    const double bounded = std::clamp(zoom, kLeastZoom, kMostZoom);
    if (IsNearly(bounded, m_zoom)) return;
    const Anchor anchor = AnchorAt(in_view);
    m_zoom = bounded;
    LayOut();
    Restore(anchor);
    viewport()->update();
    emit ZoomChanged();
}

void PageView::StepZoom(int direction) {
    if (direction > 0) {
        const auto* const next = std::find_if(kZoomSteps.begin(), kZoomSteps.end(),
                                              [&](double step) { return step > m_zoom + 0.005; });
        if (next != kZoomSteps.end()) SetZoom(*next);
    } else {
        const auto next = std::find_if(kZoomSteps.rbegin(), kZoomSteps.rend(),
                                       [&](double step) { return step < m_zoom - 0.005; });
        if (next != kZoomSteps.rend()) SetZoom(*next);
    }
}

void PageView::LayOut() {
    std::vector<QSizeF> sizes;
    for (const pdf::Page& page : m_document.Pages()) sizes.push_back(page.Size());
    m_layout = PageLayout(sizes, PixelsPerPoint(m_zoom));
    const QSize beyond = m_layout.Size() - viewport()->size();
    horizontalScrollBar()->setRange(0, std::max(0, beyond.width()));
    horizontalScrollBar()->setPageStep(viewport()->width());
    horizontalScrollBar()->setSingleStep(40);
    verticalScrollBar()->setRange(0, std::max(0, beyond.height()));
    verticalScrollBar()->setPageStep(std::max(1, viewport()->height() - 40));
    verticalScrollBar()->setSingleStep(40);
}

// The page that stands in the upper part of the view; at the end the last one.
void PageView::UpdateCurrentPage() {
    m_anchor = AnchorAt({viewport()->width() / 2, 0});
    const int top = verticalScrollBar()->value();
    const bool at_end = top > 0 && top == verticalScrollBar()->maximum();
    const int at = m_layout.PageAt(top + (at_end ? viewport()->height() - 1 : viewport()->height() / 3));
    const int page = std::min(at, m_document.PageCount() - 1);
    setAccessibleDescription(tr("Page %1 of %2").arg(page + 1).arg(m_document.PageCount()));
    if (page == m_current_page) return;
    m_current_page = page;
    emit CurrentPageChanged(page);
}

void PageView::OnPagesChanged() {
    const Anchor anchor = m_anchor;
    m_current_page = std::min(m_current_page, m_document.PageCount() - 1);
    if (m_fit != Fit::None) m_zoom = std::clamp(FittingZoom(), kLeastZoom, kMostZoom);
    LayOut();
    Restore(anchor);
    viewport()->update();
}

void PageView::PlaceFindBar() {
    m_find_bar->adjustSize();
    m_find_bar->move(viewport()->width() - m_find_bar->width() - 12, 8);
}

void PageView::ShowMatch() {
    if (!m_finder->Current()) return;
    const int page = m_document.IndexOf(m_finder->Current()->page_id);
    if (page < 0) return;
    const QList<pdf::Match> matches = m_finder->On(page);
    if (m_finder->Current()->match >= matches.size() || matches[m_finder->Current()->match].isEmpty()) return;
    const QRect area = ToView(page).mapRect(matches[m_finder->Current()->match].first()).toRect();
    const QRect seen = viewport()->rect().adjusted(20, 60, -20, -40);
    if (!seen.contains(area.center())) {
        verticalScrollBar()->setValue(verticalScrollBar()->value() + area.center().y() -
                                      viewport()->height() / 3);
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() + area.center().x() -
                                        viewport()->width() / 2);
    }
    viewport()->update();
}

// First and behind the last.
std::pair<int, int> PageView::VisiblePages() const {
    if (m_layout.Count() == 0) return {0, 0};
    const int top = verticalScrollBar()->value();
    const int first = m_layout.PageAt(top);
    int behind = first;
    while (behind < m_layout.Count() && PageRect(behind).top() < viewport()->height()) ++behind;
    return {first, behind};
}

// From points of the page as its source shows it to the viewport.
QTransform PageView::ToView(int page) const {
    const QRectF rect = PageRect(page);
    const pdf::Page& shown = m_document.Pages()[page];
    QTransform transform;
    transform.translate(rect.left(), rect.top());
    if (shown.rotation == 90) transform.translate(rect.width(), 0);
    if (shown.rotation == 180) transform.translate(rect.width(), rect.height());
    if (shown.rotation == 270) transform.translate(0, rect.height());
    transform.rotate(shown.rotation);
    const QSizeF points = shown.source->PageSize(shown.index);
    const QSizeF pixels = shown.IsOnItsSide() ? rect.size().transposed() : rect.size();
    transform.scale(pixels.width() / points.width(), pixels.height() / points.height());
    return transform;
}

// The page at or nearest to a place, or -1 beside all pages.
int PageView::PageUnder(QPoint in_view, QPointF* out_on_source) const {
    if (m_layout.Count() == 0) return -1;
    const int page = m_layout.PageAt(in_view.y() + verticalScrollBar()->value());
    *out_on_source = ToView(page).inverted().map(QPointF(in_view));
    return page;
}

}  // namespace pages
