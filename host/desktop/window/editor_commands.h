// The editor's own commands, and where they stand in the ribbon and the menus. Main thread only; the window
// owns it.
#pragma once

#include <functional>

#include "host/workbench/workbench.h"

namespace desktop {

class DocumentTab;
class MainWindow;

class EditorCommands {
public:
    explicit EditorCommands(MainWindow& window);
    // Puts them into the standard bars of a view.
    void Fill(host::MainView& view);

private:
    struct Definition;
    using TabWork = std::function<void(DocumentTab&)>;
    using TabTest = std::function<bool(DocumentTab&)>;

    void Add(Definition definition);
    void AddForTab(Definition definition, TabWork work, TabTest test = {});
    void AddForPages(const char16_t* name, const char16_t* title, const char* icon, const char* key);
    void AddFileCommands();
    void AddEditCommands();
    void AddPageCommands();
    void AddViewCommands();
    void AddZoomCommands();
    void AddLanguageCommands();

    void SaveCopy(DocumentTab& tab);
    void Print(DocumentTab& tab);
    void AskForInfo(DocumentTab& tab);
    void GoToPage(DocumentTab& tab);
    void FillBar(host::CommandBar* bar, const std::vector<const char16_t*>& names);
    void FillRibbon(host::Ribbon& ribbon);
    void FillMenus(host::MainView& view);

    MainWindow& m_window;
    host::Workbench& m_workbench;
};

}  // namespace desktop
