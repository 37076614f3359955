#include "host/desktop/pages/thumbnail_model.h"

#include <QDataStream>
#include <QIODevice>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QTimer>
#include <cmath>

namespace pages {

namespace {

const QString kMimeType = QStringLiteral("application/x-editor-pages");
constexpr int kMargin = 8;

}  // namespace

ThumbnailModel::ThumbnailModel(pdf::Document& document, QObject* parent)
    : QAbstractListModel(parent), m_document(document) {
    const auto read_ids = [this] {
        m_ids.clear();
        for (const pdf::Page& page : m_document.Pages()) m_ids.append(page.id);
    };
    read_ids();
    connect(&document, &pdf::Document::PagesChanged, this, [this, read_ids] {
        if (before_change) before_change();
        beginResetModel();
        read_ids();
        endResetModel();
        if (after_change) after_change();
    });
}

int ThumbnailModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_ids.size());
}

QVariant ThumbnailModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_ids.size()) return {};
    if (role == Qt::DisplayRole) return QString::number(index.row() + 1);
    if (role == Qt::AccessibleTextRole) return tr("Page %1").arg(index.row() + 1);
    if (role == Qt::UserRole) return m_ids[index.row()];
    return {};
}

Qt::ItemFlags ThumbnailModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return m_document.CanEditPages() ? Qt::ItemIsDropEnabled : Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    if (m_document.CanEditPages()) flags |= Qt::ItemIsDragEnabled;
    return flags;
}

QStringList ThumbnailModel::mimeTypes() const {
    return {kMimeType};
}

// Says which document the pages are of, since another one's ids would mean other pages.
QMimeData* ThumbnailModel::mimeData(const QModelIndexList& indexes) const {
    QByteArray content;
    QDataStream stream(&content, QIODevice::WriteOnly);
    stream << m_document.Original().Id();
    for (const QModelIndex& index : indexes) stream << m_ids[index.row()];
    auto* const data = new QMimeData;
    data->setData(kMimeType, content);
    return data;
}

bool ThumbnailModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int, int,
                                     const QModelIndex&) const {
    QDataStream stream(data->data(kMimeType));
    quint64 source = 0;
    stream >> source;
    return action == Qt::MoveAction && m_document.CanEditPages() && source == m_document.Original().Id();
}

bool ThumbnailModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                  const QModelIndex& parent) {
    if (!canDropMimeData(data, action, row, column, parent)) return false;
    QDataStream stream(data->data(kMimeType));
    quint64 id = 0;
    stream >> id;
    QList<int> moved;
    while (!stream.atEnd()) {
        stream >> id;
        moved.append(m_document.IndexOf(id));
    }
    const int before = row >= 0 ? row : parent.isValid() ? parent.row() : m_document.PageCount();
    // The drag must have ended before the rows change under it.
    QTimer::singleShot(0, this, [this, moved, before] {
        if (m_document.CanEditPages()) m_document.Move(moved, before);
    });
    return true;
}

ThumbnailDelegate::ThumbnailDelegate(pdf::Document& document, pdf::Renderer& renderer, QObject* parent)
    : QStyledItemDelegate(parent), m_document(document), m_renderer(renderer) {}

QSize ThumbnailDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    return {kPicture + 2 * kMargin, kPicture + option.fontMetrics.height() + 3 * kMargin};
}

pdf::Tile ThumbnailDelegate::TileOf(int page, double pixel_ratio) const {
    const pdf::Page& shown = m_document.Pages()[page];
    const int side = static_cast<int>(std::lround(kPicture * pixel_ratio));
    const QSize size = shown.source->PageSize(shown.index)
                           .scaled(side, side, Qt::KeepAspectRatio)
                           .toSize()
                           .expandedTo({1, 1});
    return {shown.source, shown.index, size, QRect({}, size)};
}

void ThumbnailDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
    if (index.row() >= m_document.PageCount()) return;
    const pdf::Page& page = m_document.Pages()[index.row()];
    const bool selected = option.state & QStyle::State_Selected;
    painter->save();
    painter->setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    if (selected || option.state & QStyle::State_MouseOver) {
        QColor back = option.palette.color(QPalette::Highlight);
        if (!selected) back.setAlpha(40);
        painter->setPen(Qt::NoPen);
        painter->setBrush(back);
        painter->drawRoundedRect(QRectF(option.rect).adjusted(3, 3, -3, -3), 6, 6);
    }
    if (option.state & QStyle::State_HasFocus && !selected) {
        painter->setPen(QPen(option.palette.color(QPalette::Highlight), 2));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(QRectF(option.rect).adjusted(4, 4, -4, -4), 6, 6);
    }
    const QSizeF size = page.Size().scaled(kPicture, kPicture, Qt::KeepAspectRatio);
    QRectF picture({}, size.toSize());
    picture.moveCenter(QPointF(option.rect.center().x(), option.rect.top() + kMargin + kPicture / 2.0));
    picture.moveTopLeft(picture.topLeft().toPoint());
    painter->setPen(QColor(0, 0, 0, 70));
    painter->setBrush(Qt::white);
    painter->drawRect(picture.adjusted(-0.5, -0.5, 0.5, 0.5));
    QImage image = m_renderer.Find(TileOf(index.row(), painter->device()->devicePixelRatioF()));
    if (image.isNull()) image = m_renderer.FindAny(*page.source, page.index);
    painter->translate(picture.center());
    painter->rotate(page.rotation);
    const QSizeF upright = page.IsOnItsSide() ? picture.size().transposed() : picture.size();
    if (!image.isNull())
        painter->drawImage(QRectF(QPointF(-upright.width() / 2, -upright.height() / 2), upright), image);
    painter->restore();

    painter->save();
    const QPalette::ColorRole role = selected ? QPalette::HighlightedText : QPalette::Text;
    painter->setPen(option.palette.color(role));
    painter->drawText(option.rect.adjusted(0, kPicture + 2 * kMargin, 0, -kMargin / 2),
                      Qt::AlignHCenter | Qt::AlignVCenter, index.data().toString());
    painter->restore();
}

}  // namespace pages
