#include "host/desktop/pages/thumbnail_pane.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QScrollBar>
#include <algorithm>

#include "host/desktop/language/translated.h"
#include "host/desktop/pages/page_actions.h"
#include "host/desktop/pages/thumbnail_model.h"

namespace pages {

ThumbnailPane::ThumbnailPane(pdf::Document& document, QWidget* parent,
                             std::shared_ptr<pdf::Renderer> renderer)
    : QListView(parent),
      m_document(document),
      m_renderer(std::move(renderer)),
      m_model(new ThumbnailModel(document, this)),
      m_actions(nullptr) {
    setObjectName(QStringLiteral("thumbnails"));
    desktop::SetTranslated(this, "accessibleName", "Page thumbnails");
    setModel(m_model);
    setItemDelegate(new ThumbnailDelegate(document, *m_renderer, this));
    setUniformItemSizes(true);
    setSelectionMode(ExtendedSelection);
    setVerticalScrollMode(ScrollPerPixel);
    setMouseTracking(true);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(true);
    setDefaultDropAction(Qt::MoveAction);
    setDragDropMode(DragDrop);
    setFrameShape(QFrame::NoFrame);
    setMinimumWidth(ThumbnailDelegate::kPicture + 56);

    m_actions = new PageActions(
        document, [this] { return SelectedPages(); }, this);
    for (QAction* const action : m_actions->All()) {
        if (action) addAction(action);
    }
    m_model->before_change = [this] { BeforeChange(); };
    m_model->after_change = [this] { AfterChange(); };
    connect(m_renderer.get(), &pdf::Renderer::Drawn, viewport(), qOverload<>(&QWidget::update));
    ShowCurrent(0);
}

ThumbnailPane::~ThumbnailPane() {
    m_renderer->Forget(this);
}

QList<int> ThumbnailPane::SelectedPages() const {
    QList<int> pages;
    if (!selectionModel()) return pages;
    for (const QModelIndex& index : selectionModel()->selectedIndexes()) pages.append(index.row());
    std::sort(pages.begin(), pages.end());
    return pages;
}

void ThumbnailPane::SelectPages(const QList<int>& pages) {
    QItemSelection selection;
    for (const int page : pages) selection.select(m_model->index(page), m_model->index(page));
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (!pages.isEmpty()) {
        selectionModel()->setCurrentIndex(m_model->index(pages.first()), QItemSelectionModel::NoUpdate);
        scrollTo(m_model->index(pages.first()));
    }
}

void ThumbnailPane::ShowCurrent(int page) {
    if (SelectedPages().size() > 1 || SelectedPages() == QList<int>{page}) return;
    m_is_following = true;
    setCurrentIndex(m_model->index(page));
    m_is_following = false;
}

void ThumbnailPane::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    WantVisible();
}

void ThumbnailPane::WantVisible() {
    const auto* const delegate = static_cast<const ThumbnailDelegate*>(itemDelegate());
    const QModelIndex first = indexAt({viewport()->width() / 2, 1});
    std::vector<pdf::Tile> wanted;
    for (int page = std::max(0, first.row()); page < m_document.PageCount(); ++page) {
        if (visualRect(m_model->index(page)).top() > viewport()->height()) break;
        wanted.push_back(delegate->TileOf(page, devicePixelRatioF()));
    }
    constexpr int kUrgencyOfThumbnails = 1;
    m_renderer->Want(this, kUrgencyOfThumbnails, std::move(wanted));
}

void ThumbnailPane::keyPressEvent(QKeyEvent* event) {
    const QModelIndex current = currentIndex();
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && current.isValid()) {
        emit PageActivated(current.row());
        return;
    }
    QListView::keyPressEvent(event);
}

void ThumbnailPane::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("thumbnails.menu"));
    for (QAction* const action : m_actions->All()) {
        if (action) {
            menu.addAction(action);
        } else {
            menu.addSeparator();
        }
    }
    menu.exec(event->globalPos());
}

void ThumbnailPane::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
    QListView::selectionChanged(selected, deselected);
    if (m_actions) m_actions->UpdateEnabled();
    emit SelectedPagesChanged();
}

void ThumbnailPane::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    if (!m_is_following && current.isValid()) emit PageActivated(current.row());
}

void ThumbnailPane::BeforeChange() {
    const QList<int> selected = SelectedPages();
    m_first_selected = selected.isEmpty() ? -1 : selected.first();
    m_selected_ids.clear();
    for (const QModelIndex& index : selectionModel()->selectedIndexes())
        m_selected_ids.append(index.data(Qt::UserRole).toULongLong());
}

// What was selected is selected again; when it is gone, the page that took its place.
void ThumbnailPane::AfterChange() {
    QList<int> pages;
    for (const quint64 id : m_selected_ids) {
        if (const int page = m_document.IndexOf(id); page >= 0) pages.append(page);
    }
    std::sort(pages.begin(), pages.end());
    if (pages.isEmpty() && m_first_selected >= 0)
        pages.append(std::min(m_first_selected, m_document.PageCount() - 1));
    m_is_following = true;
    SelectPages(pages);
    m_is_following = false;
}

}  // namespace pages
