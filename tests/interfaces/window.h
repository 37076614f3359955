// The editor's window for tests: the models that a real window shows, with the loaded plug-in behind them.
// Main thread.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/workbench/workbench.h"
#include "tests/interfaces/editor.h"

namespace interfaces {

using Layout = host::Workbench::Layout;

// A document in a tab.
struct Tab {
    ComPtr<TMK::IAFS_File> file;
    ComPtr<host::Document> document;
    ComPtr<host::DocumentView> view;
};

// What the information bar shows of the plug-in.
struct ShownBar {
    std::string text;
    std::string buttons;  // the names of their commands
    bool operator==(const ShownBar&) const = default;
    friend std::ostream& operator<<(std::ostream& stream, const ShownBar& bar) {
        return stream << "\"" << bar.text << "\" [" << bar.buttons << "]";
    }
};

class Window : public Editor, private host::WorkbenchListener {
public:
    Window(const DevServer& server, const std::string& user, const PreferenceValues& preferences = {},
           Layout layout = Layout::ribbon);
    ~Window() override;

    host::Workbench& workbench() { return host().workbench(); }

    // Opens a document of the library in a new tab, in front. Throws when that fails.
    Tab OpenTab(const std::string& document, DWORD flags);
    Tab Show(const ComPtr<TMK::IAFS_File>& file, const host::DocumentActions& actions = {});
    void Close(Tab& tab);

    // Clicks a command of a tab and waits until all is shown.
    HRESULT Click(const std::string& command, const Tab& tab);
    // The plug-in's commands that can be used: "checkOut enableEditing".
    std::string Usable(IUnknown* owner);
    // Waits until what was asked for so far is shown.
    void Settle();

    // Nothing without the plug-in's span.
    std::optional<ShownBar> BarOf(const Tab& tab);
    // The mask of what is switched off.
    static DWORD RestrictedOf(const Tab& tab);
    // "sp.cmd.checkIn - sp.cmd.checkOut": names of commands, "-" for separators.
    static std::string NamesIn(const host::CommandBar& bar);

    // How often the bars of the documents changed, and which states were asked for again.
    std::map<host::InfoBar*, int> bar_changes;
    std::vector<std::vector<DWORD>> refreshes;

private:
    void InfoBarChanged(host::InfoBar& bar) override { ++bar_changes[&bar]; }
    void StatesChanged(const std::vector<DWORD>& ids) override { refreshes.push_back(ids); }
};

}  // namespace interfaces
