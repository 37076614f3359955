#include "host/workbench/command_bars.h"

#include <algorithm>

#include "host/base/give.h"

namespace host {

namespace {

template <class Item>
ComPtr<Item> FindById(const std::vector<ComPtr<Item>>& items, DWORD id) {
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&](const auto& item) { return id != 0 && item->id() == id; });
    return found == items.end() ? ComPtr<Item>() : *found;
}

// S_FALSE for null.
template <class Interface>
HRESULT GiveFound(Interface** out, ComPtr<Interface> found) {
    if (!out) return E_POINTER;
    *out = found.detach();
    return *out ? S_OK : S_FALSE;
}

}  // namespace

CommandBar::CommandBar(const Surroundings& around, std::shared_ptr<Commands::Bars> bars, std::u16string name,
                       std::u16string title, bool is_of_host)
    : m_around(around),
      m_bars(std::move(bars)),
      m_name(std::move(name)),
      m_title(std::move(title)),
      m_id(m_name.empty() ? 0 : around.atoms.Of(m_name)),
      m_is_of_host(is_of_host) {
    m_bars->push_back(this);
}

CommandBar::~CommandBar() {
    std::erase(*m_bars, this);
}

HRESULT CommandBar::get_ID(DWORD* out_id) {
    return GiveValue(out_id, m_id);
}

HRESULT CommandBar::get_Title(BSTR* out_title) {
    return GiveString(out_title, m_title);
}

HRESULT CommandBar::get_Count(UINT* out_count) {
    return GiveValue(out_count, m_items.size());
}

HRESULT CommandBar::get_Command(UINT index, TMK::IUIX_Cmd** out_command) {
    if (!out_command) return E_POINTER;
    *out_command = nullptr;
    if (index >= m_items.size()) return E_INVALIDARG;
    return ComPtr<TMK::IUIX_Cmd>(m_items[index].command).CopyTo(out_command);
}

HRESULT CommandBar::FindItem(DWORD command_id, LONG* out_index) {
    if (!out_index) return E_POINTER;
    const auto found = std::find_if(m_items.begin(), m_items.end(), [&](const BarItem& item) {
        return item.command && item.command->id() == command_id;
    });
    *out_index = found == m_items.end() ? -1 : static_cast<LONG>(found - m_items.begin());
    return found == m_items.end() ? S_FALSE : S_OK;
}

HRESULT CommandBar::FlatInsertItem(TMK::IUIX_Cmd* command, LONG index, DWORD, DWORD style,
                                   IUnknown** out_item) {
    if (out_item) *out_item = nullptr;
    auto* const known = dynamic_cast<Command*>(command);
    if (!known) return E_INVALIDARG;
    return Insert({known, style ? style : known->new_item_style(), false}, index);
}

HRESULT CommandBar::FlatInsertSeparator(LONG index, DWORD, IUnknown** out_item) {
    if (out_item) *out_item = nullptr;
    return Insert({nullptr, 0, false}, index);
}

HRESULT CommandBar::RemoveItem(UINT index) {
    if (index >= m_items.size()) return E_INVALIDARG;
    m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(index));
    m_around.listeners.Tell(&WorkbenchListener::BarsChanged);
    return S_OK;
}

HRESULT CommandBar::Insert(BarItem item, LONG index) {
    if (index < -1 || index > static_cast<LONG>(m_items.size())) return E_INVALIDARG;
    return Guarded([&] {
        m_items.insert(index < 0 ? m_items.end() : m_items.begin() + index, std::move(item));
        m_around.listeners.Tell(&WorkbenchListener::BarsChanged);
        return S_OK;
    });
}

void CommandBar::Add(ComPtr<Command> command) {
    const DWORD style = command->new_item_style();
    Insert({std::move(command), style, true}, -1);
}

void CommandBar::AddSeparator() {
    Insert({}, -1);
}

void CommandBar::Remove(const Command& command) {
    if (std::erase_if(m_items, [&](const BarItem& item) { return item.command.get() == &command; }))
        m_around.listeners.Tell(&WorkbenchListener::BarsChanged);
}

void CommandBar::RemoveItemsOfPlugIns() {
    if (std::erase_if(m_items, [](const BarItem& item) { return !item.is_of_host; }))
        m_around.listeners.Tell(&WorkbenchListener::BarsChanged);
}

RibbonTab::RibbonTab(const Surroundings& around, std::u16string name, std::u16string title)
    : m_around(around), m_name(std::move(name)), m_title(std::move(title)), m_id(around.atoms.Of(m_name)) {}

HRESULT RibbonTab::get_ID(DWORD* out_id) {
    return GiveValue(out_id, m_id);
}

HRESULT RibbonTab::AddBar(TMK::IUIX_CmdBar* bar) {
    auto* const known = dynamic_cast<CommandBar*>(bar);
    if (!known) return E_INVALIDARG;
    return Guarded([&] {
        Add(known);
        return S_OK;
    });
}

void RibbonTab::Add(ComPtr<CommandBar> bar) {
    m_bars.push_back(std::move(bar));
    m_around.listeners.Tell(&WorkbenchListener::BarsChanged);
}

void RibbonTab::RemoveBarsOfPlugIns() {
    if (std::erase_if(m_bars, [](const auto& bar) { return !bar->is_of_host(); }))
        m_around.listeners.Tell(&WorkbenchListener::BarsChanged);
}

HRESULT Ribbon::FindTab(DWORD id, TMK::IUIX_RibbonTab** out_tab) {
    return GiveFound(out_tab, ComPtr<TMK::IUIX_RibbonTab>(Tab(id)));
}

HRESULT Ribbon::FindGroup(DWORD id, TMK::IUIX_CmdBar** out_bar) {
    return GiveFound(out_bar, ComPtr<TMK::IUIX_CmdBar>(Group(id)));
}

ComPtr<RibbonTab> Ribbon::Tab(DWORD id) const {
    return FindById(m_tabs, id);
}

ComPtr<CommandBar> Ribbon::Group(DWORD id) const {
    for (const auto& tab : m_tabs) {
        if (auto group = FindById(tab->bars(), id)) return group;
    }
    return nullptr;
}

HRESULT MainView::get_ID(DWORD* out_id) {
    return GiveValue(out_id, m_id);
}

HRESULT MainView::get_Ribbon(TMK::IUIX_Ribbon** out_ribbon) {
    return GiveFound(out_ribbon, ComPtr<TMK::IUIX_Ribbon>(m_ribbon));
}

HRESULT MainView::FindCmdBar(DWORD id, TMK::IUIX_CmdBar** out_bar) {
    return GiveFound(out_bar, ComPtr<TMK::IUIX_CmdBar>(Bar(id)));
}

ComPtr<CommandBar> MainView::Bar(DWORD id) const {
    return FindById(m_bars, id);
}

}  // namespace host
