#include "host/desktop/front_end/prompt_window.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QCommandLinkButton>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStyle>
#include <QVBoxLayout>

#include "host/desktop/front_end/text.h"
#include "hostapi/itmk.h"

namespace desktop {

namespace {

constexpr int kTextWidth = 420;
constexpr int kIconSize = 40;

QStyle::StandardPixmap IconOf(unsigned style) {
    switch (style & TMK::TaskDialogStyle_IconMask) {
        case TMK::TaskDialogStyle_IconWarning:
            return QStyle::SP_MessageBoxWarning;
        case TMK::TaskDialogStyle_IconQuestion:
            return QStyle::SP_MessageBoxQuestion;
        default:
            return QStyle::SP_MessageBoxInformation;
    }
}

}  // namespace

PromptWindow::PromptWindow(host::Prompt& prompt, QWidget* parent)
    : QDialog(parent), m_prompt(prompt), m_pressed(prompt.cancel_button) {
    setObjectName(ToQt(prompt.id));
    setWindowTitle(QGuiApplication::applicationDisplayName());
    setWindowModality(Qt::ApplicationModal);
    auto* const rows = new QVBoxLayout(this);
    rows->setSizeConstraint(QLayout::SetFixedSize);
    rows->setSpacing(16);
    rows->setContentsMargins(20, 20, 20, 16);
    auto* const top = new QHBoxLayout;
    top->setSpacing(16);
    rows->addLayout(top);
    if (prompt.style & TMK::TaskDialogStyle_IconMask) {
        auto* const icon = new QLabel;
        icon->setPixmap(style()->standardIcon(IconOf(prompt.style)).pixmap(kIconSize, kIconSize));
        top->addWidget(icon, 0, Qt::AlignTop);
    }
    auto* const column = new QVBoxLayout;
    column->setSpacing(12);
    top->addLayout(column, 1);
    AddText(column);
    AddFields(column);
    AddButtons(rows);
}

void PromptWindow::AddText(QBoxLayout* column) {
    auto* const text = new QLabel(RichText(m_prompt.text));
    text->setObjectName("text");
    text->setTextFormat(Qt::RichText);
    text->setWordWrap(true);
    text->setFixedWidth(kTextWidth);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    column->addWidget(text);
    setAccessibleDescription(text->text());
}

void PromptWindow::AddFields(QBoxLayout* column) {
    for (std::size_t i = 0; i < m_prompt.radios.size(); ++i) {
        auto* const radio = new QRadioButton(ToQt(m_prompt.radio_texts[i]));
        radio->setObjectName(ToQt(m_prompt.radios[i]));
        radio->setChecked(i == m_prompt.radio);
        m_radios.push_back(radio);
        column->addWidget(radio);
    }
    if (m_prompt.has_edit) {
        auto* const label = new QLabel(ToQt(m_prompt.edit_label));
        m_edit = new QLineEdit(ToQt(m_prompt.edit_text));
        m_edit->setObjectName(ToQt(m_prompt.edit_id));
        m_edit->setAccessibleName(WithoutMnemonic(label->text()));
        label->setBuddy(m_edit);
        column->addWidget(label);
        column->addWidget(m_edit);
    }
    if (!m_prompt.check_id.empty()) {
        m_check = new QCheckBox(ToQt(m_prompt.check_text));
        m_check->setObjectName(ToQt(m_prompt.check_id));
        m_check->setChecked(m_prompt.checked);
        column->addWidget(m_check);
    }
}

void PromptWindow::AddButtons(QBoxLayout* rows) {
    auto* const line = new QHBoxLayout;
    auto* const links = new QVBoxLayout;
    links->setSpacing(4);
    line->addStretch(1);
    for (unsigned i = 0; i < m_prompt.buttons.size(); ++i) {
        const ButtonText text = SplitButtonText(m_prompt.button_texts[i]);
        QPushButton* button = nullptr;
        if (text.explanation.isEmpty()) {
            button = new QPushButton(text.title);
            line->addWidget(button);
        } else {
            button = new QCommandLinkButton(text.title, text.explanation);
            button->setAccessibleDescription(text.explanation);
            links->addWidget(button);
        }
        button->setObjectName(ToQt(m_prompt.buttons[i]));
        button->setAutoDefault(true);
        button->setDefault(i == m_prompt.default_button);
        if (i == m_prompt.default_button && !m_edit) button->setFocus();
        connect(button, &QPushButton::clicked, this, [this, i] { Press(i); });
    }
    rows->addLayout(links);
    rows->addLayout(line);
    if (m_edit) m_edit->setFocus();
}

void PromptWindow::Press(unsigned index) {
    m_pressed = index;
    for (std::size_t i = 0; i < m_radios.size(); ++i)
        if (m_radios[i]->isChecked()) m_prompt.radio = static_cast<unsigned>(i);
    if (m_check) m_prompt.checked = m_check->isChecked();
    if (m_edit) m_prompt.edit_text = m_edit->text().toStdString();
    accept();
}

unsigned PromptWindow::Ask() {
    // A command that runs on the main thread shows a busy cursor.
    const bool is_busy = QGuiApplication::overrideCursor() != nullptr;
    if (is_busy) QGuiApplication::setOverrideCursor(Qt::ArrowCursor);
    exec();
    if (is_busy) QGuiApplication::restoreOverrideCursor();
    return m_pressed;
}

}  // namespace desktop
