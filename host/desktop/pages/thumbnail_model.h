// The list behind the thumbnails, a row a page, and how a row is painted. Main thread.
#pragma once

#include <QAbstractListModel>
#include <QStyledItemDelegate>
#include <functional>

#include "host/desktop/pages/pdf/document.h"
#include "host/desktop/pages/pdf/renderer.h"

namespace pages {

class ThumbnailModel final : public QAbstractListModel {
    Q_OBJECT

public:
    ThumbnailModel(pdf::Document& document, QObject* parent);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

    // Called around a change of the pages, so that a selection can survive it.
    std::function<void()> before_change;
    std::function<void()> after_change;

private:
    QByteArray MimeContent(const QModelIndexList& indexes) const;

    pdf::Document& m_document;
    QList<quint64> m_ids;  // what the rows stand for
};

class ThumbnailDelegate final : public QStyledItemDelegate {
    Q_OBJECT

public:
    static constexpr int kPicture = 128;  // the longer side, in logical pixels

    ThumbnailDelegate(pdf::Document& document, pdf::Renderer& renderer, QObject* parent);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    pdf::Tile TileOf(int page, double pixel_ratio) const;

private:
    pdf::Document& m_document;
    pdf::Renderer& m_renderer;
};

}  // namespace pages
