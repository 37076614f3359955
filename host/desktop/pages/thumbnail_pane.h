// The pages of a document as small pictures: select, drag into another order, a menu with what can be done
// with them. Belongs to one document, which outlives it. Main thread.
#pragma once

#include <QListView>
#include <memory>

#include "host/desktop/pages/pdf/document.h"
#include "host/desktop/pages/pdf/renderer.h"

namespace pages {

class PageActions;
class ThumbnailModel;

class ThumbnailPane final : public QListView {
    Q_OBJECT

public:
    explicit ThumbnailPane(pdf::Document& document, QWidget* parent = nullptr,
                           std::shared_ptr<pdf::Renderer> renderer = pdf::Renderer::Shared());
    ~ThumbnailPane() override;

    // In order, from 0 on.
    QList<int> SelectedPages() const;
    void SelectPages(const QList<int>& pages);
    // Follows the page that the view shows. A selection of several pages stays.
    void ShowCurrent(int page);
    // What can be done with the selected pages, for menus and ribbons.
    PageActions& Actions() { return *m_actions; }

signals:
    // A page was chosen, to be shown.
    void PageActivated(int page);
    void SelectedPagesChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

private:
    void BeforeChange();
    void AfterChange();
    void WantVisible();

    pdf::Document& m_document;
    const std::shared_ptr<pdf::Renderer> m_renderer;
    ThumbnailModel* m_model;
    PageActions* m_actions;
    QList<quint64> m_selected_ids;  // to be selected again after a change
    int m_first_selected = -1;
    bool m_is_following = false;  // what is selected now was not chosen here
};

}  // namespace pages
