// The pages of a document in one scrolling column: zoom, text selection, search. Belongs to one document,
// which outlives it. Main thread; it never waits for a drawing.
#pragma once

#include <QAbstractScrollArea>
#include <memory>

#include "host/desktop/pages/page_layout.h"
#include "host/desktop/pages/pdf/document.h"
#include "host/desktop/pages/pdf/renderer.h"

namespace pages {

class FindBar;
class Finder;
class TextSelection;

enum class Fit { None, Width, Page };

class PageView final : public QAbstractScrollArea {
    Q_OBJECT

public:
    static constexpr double kLeastZoom = 0.1;
    static constexpr double kMostZoom = 16.0;

    explicit PageView(pdf::Document& document, QWidget* parent = nullptr,
                      std::shared_ptr<pdf::Renderer> renderer = pdf::Renderer::Shared());
    ~PageView() override;

    // 1 is 100 %: a point is as large as the screen says. Ends fitting.
    void SetZoom(double zoom);
    double Zoom() const { return m_zoom; }
    void SetFit(Fit fit);
    Fit FitMode() const { return m_fit; }
    void ZoomIn() { StepZoom(1); }
    void ZoomOut() { StepZoom(-1); }

    // From 0 on.
    int CurrentPage() const { return m_current_page; }
    void GoToPage(int page);

    bool HasSelection() const;
    QString SelectedText() const;
    void Copy();
    void SelectAll();
    void ClearSelection();

    Finder& Find() { return *m_finder; }
    void OpenFindBar();

    // Where a page is, in the coordinates of the viewport.
    QRect PageRect(int page) const;

signals:
    void CurrentPageChanged(int page);
    void ZoomChanged();
    void SelectionChanged();

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    // A point of a page, kept in place while the layout changes.
    struct Anchor {
        quint64 page_id = 0;
        QPointF on_page;  // in parts of its size
        QPoint in_view;
    };

    double PixelsPerPoint(double zoom) const;
    double FittingZoom() const;
    Anchor AnchorAt(QPoint in_view) const;
    void Restore(const Anchor& anchor);
    void ApplyZoom(double zoom, QPoint in_view);
    void StepZoom(int direction);
    void LayOut();
    void UpdateCurrentPage();
    void OnPagesChanged();
    void PlaceFindBar();
    void ShowMatch();
    std::pair<int, int> VisiblePages() const;
    QTransform ToView(int page) const;
    int PageUnder(QPoint in_view, QPointF* out_on_source) const;

    QSize PixelSize(int page) const;
    std::vector<pdf::Tile> TilesOf(int page) const;
    void PaintPage(QPainter& painter, int page, std::vector<pdf::Tile>& out_missing);
    void PaintMarks(QPainter& painter, int page);
    void WantNeighbours(std::vector<pdf::Tile>& out_wanted);

    pdf::Document& m_document;
    const std::shared_ptr<pdf::Renderer> m_renderer;
    Finder* m_finder;
    FindBar* m_find_bar;
    TextSelection* m_selection;
    PageLayout m_layout;
    double m_zoom = 1;
    Fit m_fit = Fit::None;
    int m_current_page = 0;
    Anchor m_anchor;  // what stands at the top, for when pages come and go
};

}  // namespace pages
