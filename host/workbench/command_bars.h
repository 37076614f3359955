// Rows of commands, and the ribbon and the window's main view, which hold them. Main thread only.
#pragma once

#include <string>
#include <vector>

#include "host/workbench/commands.h"
#include "hostapi/ieditor.h"

namespace host {

struct BarItem {
    ComPtr<Command> command;  // null for a separator
    DWORD style = 0;
    bool is_of_host = true;
};

// A tool bar, a menu, or a group of the ribbon.
class CommandBar final : public Object<TMK::IUIX_CmdBar> {
public:
    CommandBar(const Surroundings& around, std::shared_ptr<Commands::Bars> bars, std::u16string name,
               std::u16string title, bool is_of_host);
    ~CommandBar() override;

    HRESULT get_ID(DWORD* out_id) override;
    HRESULT get_Title(BSTR* out_title) override;
    HRESULT get_Count(UINT* out_count) override;
    HRESULT get_Command(UINT index, TMK::IUIX_Cmd** out_command) override;
    HRESULT FindItem(DWORD command_id, LONG* out_index) override;
    HRESULT FlatInsertItem(TMK::IUIX_Cmd* command, LONG index, DWORD flags, DWORD style,
                           IUnknown** out_item) override;
    HRESULT FlatInsertSeparator(LONG index, DWORD flags, IUnknown** out_item) override;
    HRESULT RemoveItem(UINT index) override;

    DWORD id() const { return m_id; }
    const std::u16string& name() const { return m_name; }
    std::u16string Title() const { return m_around.catalogue.Resolve(m_title); }
    bool is_of_host() const { return m_is_of_host; }
    const std::vector<BarItem>& items() const { return m_items; }
    void Add(ComPtr<Command> command);
    void AddSeparator();
    void Remove(const Command& command);
    void RemoveItemsOfPlugIns();

private:
    HRESULT Insert(BarItem item, LONG index);

    const Surroundings& m_around;
    const std::shared_ptr<Commands::Bars> m_bars;
    const std::u16string m_name;
    const std::u16string m_title;
    const DWORD m_id;
    const bool m_is_of_host;
    std::vector<BarItem> m_items;
};

class RibbonTab final : public Object<TMK::IUIX_RibbonTab> {
public:
    RibbonTab(const Surroundings& around, std::u16string name, std::u16string title);

    HRESULT get_ID(DWORD* out_id) override;
    HRESULT AddBar(TMK::IUIX_CmdBar* bar) override;

    DWORD id() const { return m_id; }
    const std::u16string& name() const { return m_name; }
    std::u16string Title() const { return m_around.catalogue.Resolve(m_title); }
    // The groups, from left to right.
    const std::vector<ComPtr<CommandBar>>& bars() const { return m_bars; }
    void Add(ComPtr<CommandBar> bar);
    void RemoveBarsOfPlugIns();

private:
    const Surroundings& m_around;
    const std::u16string m_name;
    const std::u16string m_title;
    const DWORD m_id;
    std::vector<ComPtr<CommandBar>> m_bars;
};

class Ribbon final : public Object<TMK::IUIX_Ribbon> {
public:
    HRESULT FindTab(DWORD id, TMK::IUIX_RibbonTab** out_tab) override;
    HRESULT FindGroup(DWORD id, TMK::IUIX_CmdBar** out_bar) override;

    const std::vector<ComPtr<RibbonTab>>& tabs() const { return m_tabs; }
    void Add(ComPtr<RibbonTab> tab) { m_tabs.push_back(std::move(tab)); }
    ComPtr<RibbonTab> Tab(DWORD id) const;     // null for none
    ComPtr<CommandBar> Group(DWORD id) const;  // null for none

private:
    std::vector<ComPtr<RibbonTab>> m_tabs;
};

// The editor's window as plug-ins see it: with a ribbon, or with a menu bar and tool bars.
class MainView final : public Object<TMK::ITMK_View> {
public:
    MainView(DWORD id, ComPtr<Ribbon> ribbon) : m_id(id), m_ribbon(std::move(ribbon)) {}

    HRESULT get_ID(DWORD* out_id) override;
    HRESULT get_Ribbon(TMK::IUIX_Ribbon** out_ribbon) override;
    HRESULT FindCmdBar(DWORD id, TMK::IUIX_CmdBar** out_bar) override;

    Ribbon* ribbon() const { return m_ribbon.get(); }  // null with menus
    const std::vector<ComPtr<CommandBar>>& bars() const { return m_bars; }
    ComPtr<CommandBar> Bar(DWORD id) const;  // null for none
    void Add(ComPtr<CommandBar> bar) { m_bars.push_back(std::move(bar)); }

private:
    const DWORD m_id;
    const ComPtr<Ribbon> m_ribbon;
    std::vector<ComPtr<CommandBar>> m_bars;
};

}  // namespace host
