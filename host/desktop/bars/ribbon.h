// The ribbon and the menus of the window, made from the bars of the workbench. Main thread only.
#pragma once

#include <QTabWidget>

#include "host/desktop/bars/command_actions.h"

class QMainWindow;
class QMenu;
class QToolBar;

namespace desktop {

class RibbonView final : public QTabWidget {
    Q_OBJECT
public:
    explicit RibbonView(QWidget* parent = nullptr);
    // Shows the tabs and groups as they are now; the tab in front stays.
    void Fill(const host::Ribbon& ribbon, CommandActions& actions);
};

// A menu with the items of a bar, sub-menus included.
void FillMenu(QMenu& menu, const host::CommandBar& bar, CommandActions& actions);
// A tool bar with the items of a bar.
void FillToolBar(QToolBar& tool_bar, const host::CommandBar& bar, CommandActions& actions);

}  // namespace desktop
