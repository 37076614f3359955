#include "host/desktop/dialogs/property_view.h"

#include <QComboBox>
#include <QHeaderView>
#include <QScopedValueRollback>

#include "host/desktop/front_end/text.h"

namespace desktop {

namespace {

QString TextOf(const Variant& value) {
    if (value.type() == VT_BSTR) return ToQt(std::u16string_view(value.bstrVal, SysStringLen(value.bstrVal)));
    if (value.type() == VT_R8) return QString::number(value.dblVal, 'g', 15);
    return {};
}

}  // namespace

PropertyView::PropertyView(host::PropertyListControl& control, QWidget* parent)
    : QTreeWidget(parent), m_control(control) {
    setColumnCount(2);
    setHeaderLabels({tr("Property"), tr("Value")});
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setEditTriggers(DoubleClicked | EditKeyPressed | SelectedClicked | AnyKeyPressed);
    header()->setSectionResizeMode(QHeaderView::Stretch);
    connect(this, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item) { Take(item); });
    Reload();
}

void PropertyView::Reload() {
    const QScopedValueRollback showing(m_is_showing, true);
    clear();
    for (const host::PropertyRow& row : m_control.rows()) AddRow(row);
}

void PropertyView::AddRow(const host::PropertyRow& row) {
    const Variant value = m_control.ValueOf(row);
    auto* const item = new QTreeWidgetItem(this, {ToQt(row.title), TextOf(value)});
    item->setToolTip(0, ToQt(row.description));
    if (row.kind == TMK::UIX_Prop_Bool) {
        const bool is_set = value.type() == VT_BOOL && value.boolVal != VARIANT_FALSE;
        item->setCheckState(1, is_set ? Qt::Checked : Qt::Unchecked);
    } else if (row.kind == TMK::UIX_Prop_Choice) {
        auto* const choices = new QComboBox;
        for (const auto& choice : row.choices) choices->addItem(ToQt(choice));
        choices->setCurrentIndex(value.type() == VT_I4 ? value.lVal : -1);
        connect(choices, &QComboBox::activated, this,
                [this, row](int index) { m_control.SetValue(row, Variant(LONG{index})); });
        setItemWidget(item, 1, choices);
    } else if (row.kind == TMK::UIX_Prop_String || row.kind == TMK::UIX_Prop_Number) {
        item->setFlags(item->flags() | Qt::ItemIsEditable);
    }
}

void PropertyView::Take(QTreeWidgetItem* item) {
    const int position = indexOfTopLevelItem(item);
    if (m_is_showing || position < 0) return;
    const host::PropertyRow row = m_control.rows()[static_cast<std::size_t>(position)];
    Variant value(std::u16string_view(FromQt(item->text(1))));
    if (row.kind == TMK::UIX_Prop_Bool) {
        value = Variant(item->checkState(1) == Qt::Checked);
    } else if (row.kind == TMK::UIX_Prop_Number) {
        value = Variant();
        bool is_number = false;
        value.dblVal = locale().toDouble(item->text(1), &is_number);
        if (is_number) value.vt = VT_R8;
    }
    QMetaObject::invokeMethod(
        this, [this, row, value] { m_control.SetValue(row, value); }, Qt::QueuedConnection);
}

}  // namespace desktop
