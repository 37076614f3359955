#include "host/desktop/bars/ribbon.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QScrollArea>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include "host/desktop/front_end/text.h"
#include "host/desktop/language/translated.h"

namespace desktop {

namespace {

constexpr int kIconSize = 24;

QFrame* VerticalLine() {
    auto* const line = new QFrame;
    line->setFrameShape(QFrame::VLine);
    line->setFrameShadow(QFrame::Plain);
    line->setObjectName("separator");
    line->setForegroundRole(QPalette::Mid);
    return line;
}

QToolButton* ButtonOf(QAction* action) {
    auto* const button = new QToolButton;
    button->setDefaultAction(action);
    button->setObjectName(action->objectName());
    button->setAccessibleName(WithoutMnemonic(action->text()));
    button->setAccessibleDescription(action->statusTip());
    button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    button->setIconSize({kIconSize, kIconSize});
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    return button;
}

QToolButton* ButtonOf(const ComPtr<host::Command>& command, CommandActions& actions) {
    QToolButton* const button = ButtonOf(actions.ActionOf(command));
    if (const host::CommandBar* const below = command->sub_menu()) {
        auto* const menu = new QMenu(button);
        FillMenu(*menu, *below, actions);
        button->setMenu(menu);
        button->setPopupMode(QToolButton::InstantPopup);
    }
    return button;
}

QWidget* GroupOf(const host::CommandBar& bar, CommandActions& actions) {
    auto* const group = new QWidget;
    group->setObjectName(ToQt(bar.name()));
    group->setAccessibleName(ToQt(bar.Title()));
    auto* const rows = new QVBoxLayout(group);
    rows->setContentsMargins(4, 4, 4, 2);
    rows->setSpacing(2);
    auto* const row = new QHBoxLayout;
    row->setSpacing(2);
    for (const host::BarItem& item : bar.items()) {
        if (item.command) {
            row->addWidget(ButtonOf(item.command, actions));
        } else {
            row->addWidget(VerticalLine());
        }
    }
    rows->addLayout(row, 1);
    auto* const title = new QLabel(WithoutMnemonic(ToQt(bar.Title())));
    title->setAlignment(Qt::AlignCenter);
    title->setForegroundRole(QPalette::PlaceholderText);
    rows->addWidget(title);
    return group;
}

}  // namespace

RibbonView::RibbonView(QWidget* parent) : QTabWidget(parent) {
    setObjectName("ribbon");
    SetTranslated(this, "accessibleName", "Ribbon");
    setDocumentMode(true);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void RibbonView::Fill(const host::Ribbon& ribbon, CommandActions& actions) {
    const int front = currentIndex();
    while (count() > 0) delete widget(0);
    for (const auto& tab : ribbon.tabs()) {
        auto* const page = new QWidget;
        page->setObjectName(ToQt(tab->name()));
        auto* const row = new QHBoxLayout(page);
        row->setContentsMargins(4, 0, 4, 0);
        row->setSpacing(4);
        for (const auto& bar : tab->bars()) {
            if (bar->items().empty()) continue;
            row->addWidget(GroupOf(*bar, actions));
            row->addWidget(VerticalLine());
        }
        row->addStretch(1);
        auto* const scroll = new QScrollArea;
        scroll->setFrameShape(QFrame::NoFrame);
        scroll->setWidgetResizable(true);
        scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scroll->setWidget(page);
        scroll->setFocusPolicy(Qt::NoFocus);
        scroll->setFixedHeight(page->sizeHint().height() + 2);
        addTab(scroll, ToQt(tab->Title()));
    }
    if (front >= 0) setCurrentIndex(front);
}

void FillMenu(QMenu& menu, const host::CommandBar& bar, CommandActions& actions) {
    menu.setToolTipsVisible(true);
    for (const host::BarItem& item : bar.items()) {
        if (!item.command) {
            menu.addSeparator();
        } else if (const host::CommandBar* const below = item.command->sub_menu()) {
            QMenu* const sub_menu = menu.addMenu(ToQt(item.command->Title()));
            sub_menu->setObjectName(ToQt(item.command->name()));
            FillMenu(*sub_menu, *below, actions);
        } else {
            menu.addAction(actions.ActionOf(item.command));
        }
    }
}

void FillToolBar(QToolBar& tool_bar, const host::CommandBar& bar, CommandActions& actions) {
    for (const host::BarItem& item : bar.items()) {
        if (item.command) {
            tool_bar.addAction(actions.ActionOf(item.command));
        } else {
            tool_bar.addSeparator();
        }
    }
}

}  // namespace desktop
