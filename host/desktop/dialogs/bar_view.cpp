#include "host/desktop/dialogs/bar_view.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QToolButton>

#include "host/desktop/bars/command_actions.h"
#include "host/desktop/bars/icons.h"
#include "host/desktop/front_end/text.h"

namespace desktop {

namespace {

// Keys that people know from other windows of files, by the end of a command's name.
QKeySequence KeyOf(const QString& name) {
    if (name.endsWith(".folder.up")) return QKeySequence("Alt+Up");
    if (name.endsWith(".createFolder")) return QKeySequence("Ctrl+Shift+N");
    if (name.endsWith(".delete")) return QKeySequence("Shift+Del");
    return {};
}

}  // namespace

BarView::BarView(const host::Surroundings& workbench, ComPtr<IUnknown> owner, QWidget* parent)
    : QWidget(parent), m_workbench(workbench), m_owner(std::move(owner)), m_row(new QHBoxLayout(this)) {
    setObjectName("commandBar");
    m_row->setContentsMargins(0, 0, 0, 0);
    m_row->setSpacing(2);
    m_workbench.listeners.Add(*this);
}

BarView::~BarView() {
    m_workbench.listeners.Remove(*this);
}

void BarView::SetBars(const std::vector<ComPtr<host::CommandBar>>& bars) {
    m_bars = bars;
    Rebuild();
}

void BarView::Rebuild() {
    m_entries.clear();
    while (QLayoutItem* const item = m_row->takeAt(0)) {
        if (item->widget()) item->widget()->deleteLater();
        delete item;
    }
    for (const auto& bar : m_bars) {
        for (const host::BarItem& item : bar->items()) {
            if (item.command) {
                AddButton(item.command);
            } else {
                auto* const line = new QFrame;
                line->setFrameShape(QFrame::VLine);
                line->setFrameShadow(QFrame::Sunken);
                m_row->addWidget(line);
            }
        }
    }
    m_row->addStretch(1);
    ShowStates();
}

void BarView::AddButton(const ComPtr<host::Command>& command) {
    auto* const button = new QToolButton;
    const QString name = ToQt(command->name());
    button->setObjectName(name);
    button->setText(ToQt(command->Title()));
    QIcon icon = ToQtIcon(command->icon());
    if (icon.isNull()) icon = LineIcon(name.section('.', -1));
    button->setIcon(icon);
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    const QKeySequence key = KeyOf(name);
    if (!key.isEmpty()) button->setShortcut(key);
    QString tip = ToQt(command->Tip());
    if (tip.isEmpty()) tip = WithoutMnemonic(button->text());
    button->setAccessibleName(WithoutMnemonic(button->text()));
    if (!key.isEmpty()) tip += " (" + key.toString(QKeySequence::NativeText) + ")";
    button->setToolTip(tip);
    connect(button, &QToolButton::clicked, this, [this, command] {
        command->Execute(m_owner.get());
        ShowStates();
    });
    m_row->addWidget(button);
    m_entries.push_back({command, button});
}

void BarView::ShowStates() {
    for (const Entry& entry : std::vector(m_entries)) {
        const LONG state = entry.command->State(m_owner.get());
        entry.button->setEnabled((state & TMK::UIX_CmdItemState_Disabled) == 0);
        const bool is_checked = (state & TMK::UIX_CmdItemState_Checked) != 0;
        if (is_checked) entry.button->setCheckable(true);
        entry.button->setChecked(is_checked);
    }
}

}  // namespace desktop
