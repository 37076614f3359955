// A list of properties of a window: titles, and values that are edited in their rows. Main thread only; the
// control outlives it.
#pragma once

#include <QTreeWidget>

#include "host/dialogs/property_list.h"

namespace desktop {

class PropertyView final : public QTreeWidget {
    Q_OBJECT
public:
    explicit PropertyView(host::PropertyListControl& control, QWidget* parent = nullptr);
    // Shows what the control has now.
    void Reload();

private:
    void AddRow(const host::PropertyRow& row);
    void Take(QTreeWidgetItem* item);

    host::PropertyListControl& m_control;
    bool m_is_showing = false;
};

}  // namespace desktop
