#include "host/desktop/dialogs/control_view.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "host/desktop/bars/command_actions.h"
#include "host/desktop/dialogs/list_view.h"
#include "host/desktop/dialogs/property_view.h"
#include "host/desktop/front_end/text.h"
#include "host/dialogs/controls.h"
#include "host/dialogs/property_list.h"

namespace desktop {

using host::ControlChange;
using host::ControlKind;

namespace {

constexpr std::chrono::milliseconds kUntilWaiting{300};

class ButtonView final : public ControlView {
public:
    ButtonView(host::ButtonControl& control, QWidget* parent)
        : ControlView(control, new QPushButton(parent)), m_button(*static_cast<QPushButton*>(widget())) {
        m_button.setAutoDefault(true);
        QObject::connect(&m_button, &QPushButton::clicked, &m_button, [this, &control] {
            m_button.setFocus();  // a key leaves the field that is being edited where it is
            control.Click();
        });
    }

private:
    void Show(ControlChange change) override {
        if (change == ControlChange::Text) m_button.setText(ToQt(control().Text()));
    }
    QPushButton& m_button;
};

class CheckView final : public ControlView {
public:
    CheckView(host::CheckControl& control, QWidget* parent)
        : ControlView(control, new QCheckBox(parent)),
          m_check(control),
          m_box(*static_cast<QCheckBox*>(widget())) {
        m_box.setChecked(control.is_checked());
        QObject::connect(&m_box, &QCheckBox::clicked, &m_box, [&control] { control.Click(); });
    }

private:
    void Show(ControlChange change) override {
        if (change == ControlChange::Text) m_box.setText(ToQt(m_check.Text()));
        if (change == ControlChange::Checked) m_box.setChecked(m_check.is_checked());
    }
    host::CheckControl& m_check;
    QCheckBox& m_box;
};

class LineView final : public ControlView {
public:
    LineView(host::EditControl& control, QWidget* parent)
        : ControlView(control, new QLineEdit(parent)),
          m_edit(control),
          m_line(*static_cast<QLineEdit*>(widget())) {
        if (control.IsPassword()) m_line.setEchoMode(QLineEdit::Password);
        QObject::connect(&m_line, &QLineEdit::textEdited, &m_line, [this](const QString& text) {
            const std::u16string typed = FromQt(text);
            m_edit.TypeText(typed);
            if (m_edit.Text() != typed) ShowText(m_line.cursorPosition() - 1);
        });
        Show(ControlChange::Traits);
    }

private:
    void ShowText(int cursor) {
        const QString text = ToQt(m_edit.Text());
        if (text == m_line.text()) return;
        m_line.setText(text);
        m_line.setCursorPosition(cursor);
    }
    void Show(ControlChange change) override {
        if (change == ControlChange::Text) ShowText(0);
        if (change == ControlChange::Traits) m_line.setReadOnly(m_edit.IsReadOnly());
        if (change == ControlChange::Selection)
            m_line.setSelection(m_edit.selection_first(), m_edit.selection_end() - m_edit.selection_first());
    }
    host::EditControl& m_edit;
    QLineEdit& m_line;
};

class TextView final : public ControlView {
public:
    TextView(host::EditControl& control, QWidget* parent)
        : ControlView(control, new QPlainTextEdit(parent)),
          m_edit(control),
          m_text(*static_cast<QPlainTextEdit*>(widget())) {
        m_text.setTabChangesFocus(true);
        QObject::connect(&m_text, &QPlainTextEdit::textChanged, &m_text, [this] {
            if (m_is_showing) return;
            const std::u16string typed = FromQt(m_text.toPlainText());
            m_edit.TypeText(typed);
            if (m_edit.Text() != typed) Show(ControlChange::Text);
        });
        Show(ControlChange::Traits);
    }

private:
    void Show(ControlChange change) override {
        if (change == ControlChange::Traits) m_text.setReadOnly(m_edit.IsReadOnly());
        const QString text = ToQt(m_edit.Text());
        if (change != ControlChange::Text || text == m_text.toPlainText()) return;
        m_is_showing = true;
        m_text.setPlainText(text);
        m_is_showing = false;
    }
    host::EditControl& m_edit;
    QPlainTextEdit& m_text;
    bool m_is_showing = false;
};

class ComboView final : public ControlView {
public:
    ComboView(host::ComboControl& control, QWidget* parent)
        : ControlView(control, new QComboBox(parent)),
          m_combo(control),
          m_box(*static_cast<QComboBox*>(widget())) {
        m_box.setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        QObject::connect(&m_box, &QComboBox::activated, &m_box, [this](int index) {
            m_combo.SelectItem(index);
            m_box.setCurrentIndex(m_combo.selected());
        });
        Show(ControlChange::Items);
    }

private:
    void Show(ControlChange change) override {
        if (change == ControlChange::Items) {
            m_box.clear();
            for (const host::ComboItem& item : m_combo.items()) {
                m_box.addItem(ToQtIcon(host::OwnIcon(item.icon.get())), ToQt(item.text));
                m_box.setItemData(m_box.count() - 1, ToQt(item.tip), Qt::ToolTipRole);
            }
        }
        if (change == ControlChange::Items || change == ControlChange::Selection)
            m_box.setCurrentIndex(m_combo.selected());
    }
    host::ComboControl& m_combo;
    QComboBox& m_box;
};

// One line that shows as much of a text as there is room for.
class ElidedLabel final : public QLabel {
public:
    using QLabel::QLabel;

private:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        const QString shown = fontMetrics().elidedText(text(), Qt::ElideMiddle, width());
        style()->drawItemText(&painter, rect(), Qt::AlignLeft | Qt::AlignVCenter, palette(), isEnabled(),
                              shown, foregroundRole());
    }
};

// A text of the template wraps; one that is put later is of any length, and is cut in its middle.
class LabelView final : public ControlView {
public:
    LabelView(host::Control& control, QWidget* parent)
        : ControlView(control, control.shape().text.empty() ? new ElidedLabel(parent) : new QLabel(parent)),
          m_label(*static_cast<QLabel*>(widget())) {
        m_label.setTextFormat(Qt::PlainText);
        m_label.setWordWrap(!control.shape().text.empty());
    }
    Measured Measure(int width) const override {
        Measured measured = ControlView::Measure(width);
        measured.needed = m_label.fontMetrics().size(Qt::TextShowMnemonic, m_label.text());
        if (m_label.wordWrap()) measured.wrapped = m_label.heightForWidth(width);
        return measured;
    }

private:
    void Show(ControlChange change) override {
        if (change != ControlChange::Text) return;
        const QString text = ToQt(control().Text());
        m_label.setText(text);
        if (!m_label.wordWrap()) m_label.setToolTip(text);
    }
    QLabel& m_label;
};

class GroupView final : public ControlView {
public:
    GroupView(host::Control& control, QWidget* parent) : ControlView(control, new QGroupBox(parent)) {
        widget()->lower();
    }

private:
    void Show(ControlChange change) override {
        if (change == ControlChange::Text)
            static_cast<QGroupBox*>(widget())->setTitle(ToQt(control().Text()));
    }
};

class PictureView final : public ControlView {
public:
    PictureView(host::PictureControl& control, QWidget* parent)
        : ControlView(control, new QLabel(parent)),
          m_picture(control),
          m_label(*static_cast<QLabel*>(widget())) {
        m_label.setAlignment(Qt::AlignCenter);
        Show(ControlChange::Icon);
    }

private:
    void Show(ControlChange change) override {
        if (change != ControlChange::Icon) return;
        const host::Place& place = m_picture.shape().place;
        m_label.setPixmap(ToQtIcon(host::OwnIcon(m_picture.icon())).pixmap(QSize(place.width, place.height)));
    }
    host::PictureControl& m_picture;
    QLabel& m_label;
};

class ListControlView final : public ControlView {
public:
    ListControlView(host::ListControl& control, QWidget* parent)
        : ControlView(control, new ListView(control, parent)) {}

private:
    void Show(ControlChange change) override { static_cast<ListView*>(widget())->Apply(change); }
};

class PropertiesView final : public ControlView {
public:
    PropertiesView(host::PropertyListControl& control, QWidget* parent)
        : ControlView(control, new PropertyView(control, parent)),
          m_view(*static_cast<PropertyView*>(widget())) {}
    void Commit() override { m_view.Commit(); }
    std::vector<QWidget*> FocusOrder() const override { return m_view.Editors(); }

private:
    void Show(ControlChange change) override {
        if (change == ControlChange::Items) m_view.Reload();
        if (change == ControlChange::Rows) m_view.ShowValues();
    }
    PropertyView& m_view;
};

// A bar in the middle of its place, for work that takes longer than a moment.
class WaitView final : public ControlView {
public:
    WaitView(host::WaitProgressControl& control, QWidget* parent)
        : ControlView(control, new QWidget(parent)), m_progress(control) {
        auto* const rows = new QVBoxLayout(widget());
        auto* const bar = new QProgressBar;
        bar->setRange(0, 0);
        bar->setTextVisible(false);
        bar->setFixedSize(220, 8);
        bar->setAccessibleName(QObject::tr("Working"));
        rows->addWidget(bar, 0, Qt::AlignCenter);
        widget()->setAttribute(Qt::WA_TransparentForMouseEvents);
        widget()->hide();
    }

private:
    void Show(ControlChange change) override {
        if (change != ControlChange::Checked && change != ControlChange::Shown) return;
        if (!m_progress.is_running()) return widget()->hide();
        QTimer::singleShot(kUntilWaiting, widget(), [this] {
            const bool is_shown = m_progress.is_running() && m_progress.is_shown();
            widget()->setVisible(is_shown);
            if (is_shown) widget()->raise();
        });
    }
    host::WaitProgressControl& m_progress;
};

std::unique_ptr<ControlView> Make(host::Control& control, QWidget* parent) {
    if (auto* const button = dynamic_cast<host::ButtonControl*>(&control))
        return std::make_unique<ButtonView>(*button, parent);
    if (auto* const check = dynamic_cast<host::CheckControl*>(&control))
        return std::make_unique<CheckView>(*check, parent);
    if (auto* const combo = dynamic_cast<host::ComboControl*>(&control))
        return std::make_unique<ComboView>(*combo, parent);
    if (auto* const list = dynamic_cast<host::ListControl*>(&control))
        return std::make_unique<ListControlView>(*list, parent);
    if (auto* const properties = dynamic_cast<host::PropertyListControl*>(&control))
        return std::make_unique<PropertiesView>(*properties, parent);
    if (auto* const picture = dynamic_cast<host::PictureControl*>(&control))
        return std::make_unique<PictureView>(*picture, parent);
    if (auto* const wait = dynamic_cast<host::WaitProgressControl*>(&control))
        return std::make_unique<WaitView>(*wait, parent);
    if (auto* const edit = dynamic_cast<host::EditControl*>(&control)) {
        if (edit->IsMultiLine()) return std::make_unique<TextView>(*edit, parent);
        return std::make_unique<LineView>(*edit, parent);
    }
    if (control.kind() == ControlKind::Group) return std::make_unique<GroupView>(control, parent);
    return std::make_unique<LabelView>(control, parent);
}

}  // namespace

Measured ControlView::Measure(int) const {
    return {m_control.shape(), m_widget->sizeHint(), 0};
}

void ControlView::Apply(ControlChange change) {
    if (change == ControlChange::Enabled) m_widget->setEnabled(m_control.is_enabled());
    if (change == ControlChange::Shown && m_control.kind() != ControlKind::WaitProgress)
        m_widget->setVisible(m_control.is_shown());
    if (change == ControlChange::Focus) m_widget->setFocus();
    Show(change);
}

std::unique_ptr<ControlView> MakeControlView(host::Control& control, QWidget* parent) {
    auto view = Make(control, parent);
    view->widget()->setObjectName(ToQt(control.shape().id));
    for (const auto change : {ControlChange::Text, ControlChange::Enabled, ControlChange::Shown})
        view->Apply(change);
    return view;
}

}  // namespace desktop
