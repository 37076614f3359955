#include "host/desktop/dialogs/list_view.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QVBoxLayout>

#include "host/base/text.h"
#include "host/desktop/bars/command_actions.h"
#include "host/desktop/front_end/text.h"

namespace desktop {

using host::ControlChange;

ListRows::ListRows(host::ListControl& control, QObject* parent)
    : QAbstractTableModel(parent), m_control(control) {}

void ListRows::Reset() {
    beginResetModel();
    m_rows = m_control.RowCount();
    m_columns = static_cast<int>(m_control.columns().size());
    endResetModel();
}

void ListRows::Refresh() {
    if (m_rows > 0 && m_columns > 0) emit dataChanged(index(0, 0), index(m_rows - 1, m_columns - 1));
}

QVariant ListRows::data(const QModelIndex& index, int role) const {
    switch (role) {
        case Qt::DisplayRole:
        case Qt::ToolTipRole:
            return ToQt(m_control.TextAt(index.row(), index.column()).text);
        case Qt::TextAlignmentRole: {
            const bool is_right =
                m_control.TextAt(index.row(), index.column()).draw_flags & TMK::UIX_DrawText_Right;
            return QVariant::fromValue((is_right ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
        }
        case Qt::DecorationRole: {
            const auto icon = m_control.IconAt(index.row(), index.column());
            return icon ? QVariant(ToQtIcon(host::OwnIcon(icon.get()))) : QVariant();
        }
        default:
            return {};
    }
}

QVariant ListRows::headerData(int section, Qt::Orientation orientation, int role) const {
    const auto& columns = m_control.columns();
    if (orientation != Qt::Horizontal || section < 0 || static_cast<std::size_t>(section) >= columns.size())
        return {};
    if (role == Qt::DisplayRole) return WithoutMnemonic(ToQt(columns[section].title));
    if (role == Qt::ToolTipRole) return ToQt(columns[section].tip);
    if (role == Qt::TextAlignmentRole) return QVariant::fromValue(Qt::AlignLeft | Qt::AlignVCenter);
    return {};
}

Qt::ItemFlags ListRows::flags(const QModelIndex&) const {
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
}

ListView::ListView(host::ListControl& control, QWidget* parent)
    : QTreeView(parent), m_control(control), m_rows(new ListRows(control, this)) {
    setModel(m_rows);
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(control.IsMultiSelect() ? ExtendedSelection : SingleSelection);
    header()->setSectionsClickable(true);
    header()->setStretchLastSection(false);
    header()->setSortIndicatorShown(false);
    header()->setHighlightSections(false);
    connect(header(), &QHeaderView::sectionClicked, this,
            [this](int column) { m_control.ClickHeader(column); });
    connect(this, &QTreeView::clicked, this, [this](const QModelIndex& at) {
        if (at.isValid()) m_control.ClickRow(at.row());
    });
    connect(this, &QTreeView::doubleClicked, this, [this](const QModelIndex& at) {
        if (at.isValid()) m_control.DoubleClickRow(at.row());
    });
    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { TellSelection(); });
    ShowRows();
    ShowNotice();
}

void ListView::Apply(ControlChange change) {
    switch (change) {
        case ControlChange::Items:
        case ControlChange::Columns:
            // A row at a time comes in thousands.
            if (std::exchange(m_is_stale, true)) break;
            QMetaObject::invokeMethod(
                this, [this] { ShowRows(); }, Qt::QueuedConnection);
            break;
        case ControlChange::Rows:
            m_rows->Refresh();
            break;
        case ControlChange::Selection:
            if (!m_is_showing) ShowSelection();
            break;
        case ControlChange::Notice:
            ShowNotice();
            break;
        default:
            break;
    }
}

void ListView::ShowRows() {
    m_is_stale = false;
    const QScopedValueRollback showing(m_is_showing, true);
    const bool is_other = m_rows->rowCount() != m_control.RowCount() ||
                          m_rows->columnCount() != static_cast<int>(m_control.columns().size());
    const QModelIndex current = currentIndex();
    m_rows->Reset();
    if (!is_other && current.isValid()) setCurrentIndex(m_rows->index(current.row(), 0));
    ShowColumns();
    ShowSelection();
}

void ListView::ShowColumns() {
    int sorted = -1;
    Qt::SortOrder order = Qt::AscendingOrder;
    const auto& columns = m_control.columns();
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (!(columns[i].style & TMK::UIX_ListColumn_SortMask)) continue;
        sorted = static_cast<int>(i);
        if (!(columns[i].style & TMK::UIX_ListColumn_Ascending)) order = Qt::DescendingOrder;
    }
    header()->setSortIndicatorShown(sorted >= 0);
    header()->setSortIndicator(sorted, order);
    FitColumns();
}

// The columns share the width as they were made; what the person has dragged stays in proportion.
void ListView::FitColumns() {
    const int width = viewport()->width();
    const int count = header()->count();
    if (count == 0 || width <= 0) return;
    double total = 0;
    std::vector<double> shares;
    for (int i = 0; i < count; ++i) {
        shares.push_back(m_fitted_width > 0 ? header()->sectionSize(i)
                                            : std::max<int>(m_control.columns()[i].width, 1));
        total += shares.back();
    }
    int left = width;
    for (int i = 0; i < count; ++i) {
        const int size = i + 1 == count ? left : static_cast<int>(width * shares[i] / total);
        header()->resizeSection(i, size);
        left -= size;
    }
    m_fitted_width = width;
}

void ListView::ShowSelection() {
    const QScopedValueRollback showing(m_is_showing, true);
    QItemSelection wanted;
    const auto& rows = m_control.selected();
    for (auto at = rows.begin(); at != rows.end();) {
        const int first = *at;
        int last = first;
        while (++at != rows.end() && *at == last + 1) ++last;
        wanted.select(m_rows->index(first, 0), m_rows->index(last, m_rows->columnCount() - 1));
    }
    selectionModel()->select(wanted, QItemSelectionModel::ClearAndSelect);
}

void ListView::TellSelection() {
    if (m_is_showing) return;
    const QScopedValueRollback showing(m_is_showing, true);
    std::vector<LONG> rows;
    for (const QItemSelectionRange& range : selectionModel()->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row) rows.push_back(row);
    }
    m_control.SelectRows(rows);
}

void ListView::ShowNotice() {
    const auto& notice = m_control.notice();
    if (!notice && !m_notice) return;
    if (!m_notice) {
        m_notice = new QWidget(viewport());
        m_notice->setObjectName("notice");
        m_notice->setAutoFillBackground(true);
        m_notice->setBackgroundRole(QPalette::Base);
        auto* const rows = new QVBoxLayout(m_notice);
        rows->addStretch(1);
        m_notice_text = new QLabel;
        m_notice_text->setWordWrap(true);
        m_notice_text->setAlignment(Qt::AlignCenter);
        rows->addWidget(m_notice_text);
        m_notice_button = new QPushButton;
        m_notice_button->setObjectName("notice.button");
        m_notice_button->setAutoDefault(false);
        rows->addWidget(m_notice_button, 0, Qt::AlignHCenter);
        rows->addStretch(1);
        connect(m_notice_button, &QPushButton::clicked, this, [this] { m_control.PressNoticeButton(); });
    }
    m_notice->setVisible(notice.has_value());
    if (!notice) return;
    m_notice_text->setText(RichText(host::ToUtf8(notice->text)));
    m_notice_button->setText(ToQt(notice->button));
    m_notice_button->setVisible(!notice->button.empty());
    m_notice->setGeometry(viewport()->rect());
}

void ListView::keyPressEvent(QKeyEvent* event) {
    const bool is_enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (is_enter && currentIndex().isValid() && selectionModel()->isSelected(currentIndex())) {
        event->accept();
        m_control.DoubleClickRow(currentIndex().row());
        return;
    }
    QTreeView::keyPressEvent(event);
}

void ListView::resizeEvent(QResizeEvent* event) {
    QTreeView::resizeEvent(event);
    FitColumns();
    if (m_notice) m_notice->setGeometry(viewport()->rect());
}

}  // namespace desktop
