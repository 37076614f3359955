// The widget that shows and edits one property. Main thread only; the control outlives it.
#pragma once

#include <QList>
#include <QWidget>
#include <memory>

#include "host/dialogs/property_list.h"

namespace desktop {

class PropertyEditor {
public:
    PropertyEditor(host::PropertyListControl& control, host::PropertyRow row, QWidget* widget);
    virtual ~PropertyEditor() = default;

    const host::PropertyRow& row() const { return m_row; }
    QWidget* widget() const { return m_widget; }
    // What takes the keyboard, one after the other.
    virtual QList<QWidget*> Parts() const { return {m_widget}; }
    // Shows what the property has now, unless something else is being typed.
    void ShowValue();
    // Hands on what was typed, if anything was.
    void Commit();

protected:
    virtual void Show(const Variant& value) = 0;
    // Empty for what can't be taken; then the value from before is shown again.
    virtual Variant Typed() const = 0;
    void Touch() { m_is_touched = !m_is_showing; }

private:
    host::PropertyListControl& m_control;
    const host::PropertyRow m_row;
    QWidget* const m_widget;
    bool m_is_touched = false;
    bool m_is_showing = false;
};

std::unique_ptr<PropertyEditor> MakePropertyEditor(host::PropertyListControl& control,
                                                   const host::PropertyRow& row);

}  // namespace desktop
