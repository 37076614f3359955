// A list of a window: rows that are asked for when they come into view, a header that sorts, a notice in the
// rows' place. Main thread only; the control outlives it.
#pragma once

#include <QAbstractTableModel>
#include <QTreeView>

#include "host/dialogs/list_control.h"

class QLabel;
class QPushButton;

namespace desktop {

class ListRows final : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit ListRows(host::ListControl& control, QObject* parent = nullptr);
    // The control has other rows or columns.
    void Reset();
    // The same rows have other texts.
    void Refresh();

    int rowCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : m_rows; }
    int columnCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : m_columns;
    }
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    host::ListControl& m_control;
    int m_rows = 0;  // as the view knows them
    int m_columns = 0;
};

class ListView final : public QTreeView {
    Q_OBJECT
public:
    explicit ListView(host::ListControl& control, QWidget* parent = nullptr);
    void Apply(host::ControlChange change);

private:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void ShowRows();
    void ShowColumns();
    void ShowSelection();
    void ShowNotice();
    void FitColumns();
    void TellSelection();

    host::ListControl& m_control;
    ListRows* const m_rows;
    QWidget* m_notice = nullptr;
    QLabel* m_notice_text = nullptr;
    QPushButton* m_notice_button = nullptr;
    bool m_is_stale = false;    // the rows are to be shown anew
    bool m_is_showing = false;  // what changes now was not the person's doing
    int m_fitted_width = 0;
};

}  // namespace desktop
