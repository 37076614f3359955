#include "host/desktop/dialogs/property_editor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScopedValueRollback>
#include <cmath>

#include "host/desktop/front_end/text.h"

namespace desktop {

namespace {

using host::PropertyListControl;
using host::PropertyRow;

constexpr int kLines = 4;
constexpr double kSecondsPerDay = 86'400;

// Dates are shown as they come, without a zone of their own, so that no hour is missing in spring.
const QDateTime& DayZero() {
    static const QDateTime zero(QDate(1899, 12, 30), QTime(0, 0), Qt::UTC);
    return zero;
}

QString TextOf(const Variant& value) {
    if (value.type() != VT_BSTR) return {};
    return ToQt(std::u16string_view(value.bstrVal ? value.bstrVal : u"", SysStringLen(value.bstrVal)));
}

class LineEditor final : public PropertyEditor {
public:
    LineEditor(PropertyListControl& control, const PropertyRow& row)
        : PropertyEditor(control, row, new QLineEdit), m_line(*static_cast<QLineEdit*>(widget())) {
        if (row.max_length > 0) m_line.setMaxLength(static_cast<int>(row.max_length));
        QObject::connect(&m_line, &QLineEdit::textEdited, &m_line, [this] { Touch(); });
        QObject::connect(&m_line, &QLineEdit::editingFinished, &m_line, [this] { Commit(); });
    }

private:
    void Show(const Variant& value) override { m_line.setText(TextOf(value)); }
    Variant Typed() const override { return Variant(std::u16string_view(FromQt(m_line.text()))); }
    QLineEdit& m_line;
};

class TextEditor final : public PropertyEditor {
public:
    TextEditor(PropertyListControl& control, const PropertyRow& row)
        : PropertyEditor(control, row, new QPlainTextEdit), m_text(*static_cast<QPlainTextEdit*>(widget())) {
        m_text.setTabChangesFocus(true);
        m_text.setFixedHeight(QFontMetrics(m_text.font()).lineSpacing() * kLines + 12);
        QObject::connect(&m_text, &QPlainTextEdit::textChanged, &m_text, [this] { Touch(); });
    }

private:
    void Show(const Variant& value) override { m_text.setPlainText(TextOf(value)); }
    Variant Typed() const override { return Variant(std::u16string_view(FromQt(m_text.toPlainText()))); }
    QPlainTextEdit& m_text;
};

class NumberEditor final : public PropertyEditor {
public:
    NumberEditor(PropertyListControl& control, const PropertyRow& row)
        : PropertyEditor(control, row, new QLineEdit), m_line(*static_cast<QLineEdit*>(widget())) {
        QObject::connect(&m_line, &QLineEdit::textEdited, &m_line, [this] { Touch(); });
        QObject::connect(&m_line, &QLineEdit::editingFinished, &m_line, [this] { Commit(); });
    }

private:
    void Show(const Variant& value) override {
        QLocale locale = m_line.locale();
        locale.setNumberOptions(QLocale::OmitGroupSeparator);
        QString text;
        if (value.type() == VT_R8) text = locale.toString(value.dblVal, 'g', QLocale::FloatingPointShortest);
        if (value.type() == VT_I4) text = locale.toString(qlonglong{value.lVal});
        if (value.type() == VT_I8) text = locale.toString(qlonglong{value.llVal});
        m_line.setText(text);
    }
    Variant Typed() const override {
        bool is_number = false;
        Variant value;
        value.dblVal = m_line.locale().toDouble(m_line.text().trimmed(), &is_number);
        if (!is_number) value.dblVal = QLocale::c().toDouble(m_line.text().trimmed(), &is_number);
        if (is_number && std::isfinite(value.dblVal)) value.vt = VT_R8;
        return value;
    }
    QLineEdit& m_line;
};

class BoolEditor final : public PropertyEditor {
public:
    BoolEditor(PropertyListControl& control, const PropertyRow& row)
        : PropertyEditor(control, row, new QCheckBox(QObject::tr("Yes"))),
          m_box(*static_cast<QCheckBox*>(widget())) {
        QObject::connect(&m_box, &QCheckBox::clicked, &m_box, [this] {
            if (m_box.checkState() == Qt::PartiallyChecked) m_box.setCheckState(Qt::Checked);
            m_box.setTristate(false);
            Touch();
            Commit();
        });
    }

private:
    void Show(const Variant& value) override {
        const bool is_empty = value.type() != VT_BOOL;
        m_box.setTristate(is_empty);
        m_box.setCheckState(is_empty                         ? Qt::PartiallyChecked
                            : value.boolVal != VARIANT_FALSE ? Qt::Checked
                                                             : Qt::Unchecked);
    }
    Variant Typed() const override { return Variant(m_box.checkState() == Qt::Checked); }
    QCheckBox& m_box;
};

class ChoiceEditor final : public PropertyEditor {
public:
    ChoiceEditor(PropertyListControl& control, const PropertyRow& row)
        : PropertyEditor(control, row, new QComboBox), m_box(*static_cast<QComboBox*>(widget())) {
        for (const auto& choice : row.choices) m_box.addItem(ToQt(choice));
        m_box.setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        QObject::connect(&m_box, &QComboBox::activated, &m_box, [this] {
            Touch();
            Commit();
        });
    }

private:
    void Show(const Variant& value) override {
        m_box.setCurrentIndex(value.type() == VT_I4 ? static_cast<int>(value.lVal) : -1);
    }
    Variant Typed() const override {
        return m_box.currentIndex() < 0 ? Variant() : Variant(LONG{m_box.currentIndex()});
    }
    QComboBox& m_box;
};

// Empty until the person checks that there is a date.
class DateEditor final : public PropertyEditor {
public:
    DateEditor(PropertyListControl& control, const PropertyRow& row)
        : PropertyEditor(control, row, new QWidget),
          m_is_set(*new QCheckBox(QObject::tr("Set"))),
          m_edit(*new QDateTimeEdit) {
        const bool has_time = (row.flags & TMK::UIX_Prop_ShowTime) != 0;
        auto* const line = new QHBoxLayout(widget());
        line->setContentsMargins(0, 0, 0, 0);
        line->addWidget(&m_is_set);
        line->addWidget(&m_edit, 1);
        m_edit.setTimeSpec(Qt::UTC);
        m_edit.setCalendarPopup(true);
        m_edit.setMinimumDate(QDate(1900, 1, 1));
        QString format = m_edit.locale().dateFormat(QLocale::ShortFormat);
        if (!format.contains("yyyy")) format.replace("yy", "yyyy");
        m_edit.setDisplayFormat(has_time ? format + " HH:mm:ss" : format);
        if (has_time) line->addWidget(new QLabel("UTC"));
        QObject::connect(&m_is_set, &QCheckBox::clicked, widget(), [this] {
            m_edit.setEnabled(true);
            m_edit.setFocus();
            m_is_set.setEnabled(false);
            Touch();
            Commit();
        });
        QObject::connect(&m_edit, &QDateTimeEdit::dateTimeChanged, widget(), [this] { Touch(); });
        QObject::connect(&m_edit, &QDateTimeEdit::editingFinished, widget(), [this] { Commit(); });
    }
    QList<QWidget*> Parts() const override { return {&m_is_set, &m_edit}; }

private:
    void Show(const Variant& value) override {
        const bool is_set = value.type() == VT_R8 && value.dblVal != 0;
        m_is_set.setChecked(is_set);
        m_is_set.setEnabled(!is_set);
        m_edit.setEnabled(is_set);
        m_edit.setDateTime(is_set ? DayZero().addSecs(std::llround(value.dblVal * kSecondsPerDay))
                                  : QDateTime(QDate::currentDate(), QTime(0, 0), Qt::UTC));
    }
    Variant Typed() const override {
        Variant value;
        value.vt = VT_DATE;
        value.dblVal = static_cast<double>(DayZero().secsTo(m_edit.dateTime())) / kSecondsPerDay;
        return value;
    }
    QCheckBox& m_is_set;
    QDateTimeEdit& m_edit;
};

class NoEditor final : public PropertyEditor {
public:
    NoEditor(PropertyListControl& control, const PropertyRow& row)
        : PropertyEditor(control, row, new QLabel(QStringLiteral("–"))) {}

private:
    void Show(const Variant&) override {}
    Variant Typed() const override { return {}; }
    QList<QWidget*> Parts() const override { return {}; }
};

}  // namespace

PropertyEditor::PropertyEditor(PropertyListControl& control, PropertyRow row, QWidget* widget)
    : m_control(control), m_row(std::move(row)), m_widget(widget) {}

void PropertyEditor::ShowValue() {
    if (m_is_touched) return;
    const QScopedValueRollback showing(m_is_showing, true);
    Show(m_control.ValueOf(m_row));
}

void PropertyEditor::Commit() {
    if (!std::exchange(m_is_touched, false)) return;
    const Variant value = Typed();
    if (value.type() != VT_EMPTY) m_control.SetValue(m_row, value);
    ShowValue();
}

std::unique_ptr<PropertyEditor> MakePropertyEditor(PropertyListControl& control, const PropertyRow& row) {
    switch (row.kind) {
        case TMK::UIX_Prop_String:
            if (row.flags & TMK::UIX_Prop_MultiLine) return std::make_unique<TextEditor>(control, row);
            return std::make_unique<LineEditor>(control, row);
        case TMK::UIX_Prop_Number:
            return std::make_unique<NumberEditor>(control, row);
        case TMK::UIX_Prop_Bool:
            return std::make_unique<BoolEditor>(control, row);
        case TMK::UIX_Prop_Choice:
            // Where no choices are known, they are typed.
            if (row.choices.empty()) return std::make_unique<LineEditor>(control, row);
            return std::make_unique<ChoiceEditor>(control, row);
        case TMK::UIX_Prop_Date:
            return std::make_unique<DateEditor>(control, row);
        default:
            return std::make_unique<NoEditor>(control, row);
    }
}

}  // namespace desktop
