// A list of properties of a window: a labelled editor by kind for each, one below the other, with its
// description under it. A value is handed on when its editor loses the keyboard. Main thread only; the
// control outlives it.
#pragma once

#include <QScrollArea>
#include <memory>
#include <vector>

#include "host/dialogs/property_list.h"

namespace desktop {

class PropertyEditor;

class PropertyView final : public QScrollArea {
    Q_OBJECT
public:
    explicit PropertyView(host::PropertyListControl& control, QWidget* parent = nullptr);
    ~PropertyView() override;
    // Makes the rows that the control has now.
    void Reload();
    // Shows the values that the control has now.
    void ShowValues();
    // In the order of the rows, for the keyboard.
    // Hands on what is being typed.
    void Commit();
    std::vector<QWidget*> Editors() const;

private:
    bool eventFilter(QObject* watched, QEvent* event) override;
    QSize sizeHint() const override { return {360, 240}; }

    host::PropertyListControl& m_control;
    std::vector<std::unique_ptr<PropertyEditor>> m_editors;
};

}  // namespace desktop
