#include "host/workbench/commands.h"

#include <algorithm>

#include "host/base/give.h"
#include "host/workbench/command_bars.h"

namespace host {

namespace {

class FunctionHandler final : public Object<TMK::IUIX_CmdHandler> {
public:
    FunctionHandler(std::function<HRESULT(IUnknown*)> execute, std::function<LONG(IUnknown*)> state)
        : m_execute(std::move(execute)), m_state(std::move(state)) {}

    HRESULT OnGetItemState(TMK::IUIX_Cmd*, IUnknown* owner, LONG* out_state) override {
        if (!out_state) return E_POINTER;
        return Guarded([&] {
            *out_state = m_state ? m_state(owner) : TMK::UIX_CmdItemState_Enabled;
            return S_OK;
        });
    }
    HRESULT OnNotify(LONG type, TMK::IUIX_Cmd*, IUnknown* owner) override {
        if (type != TMK::UIX_CmdNotify_Exec) return E_NOTIMPL;
        return Guarded([&] { return m_execute ? m_execute(owner) : S_OK; });
    }

private:
    const std::function<HRESULT(IUnknown*)> m_execute;
    const std::function<LONG(IUnknown*)> m_state;
};

}  // namespace

std::u16string WithoutMnemonic(std::u16string_view title) {
    std::u16string plain;
    for (std::size_t i = 0; i < title.size(); ++i) {
        if (title[i] == u'&' && (i + 1 == title.size() || title[i + 1] != u'&')) continue;
        if (title[i] == u'&') ++i;
        plain += title[i];
    }
    return plain;
}

Command::Command(const Surroundings& around, std::u16string name, ComPtr<TMK::IUIX_CmdHandler> handler,
                 bool is_of_host)
    : m_around(around),
      m_name(std::move(name)),
      m_id(around.atoms.Of(m_name)),
      m_is_of_host(is_of_host),
      m_handler(std::move(handler)) {}

Command::~Command() = default;

HRESULT Command::get_ID(DWORD* out_id) {
    return GiveValue(out_id, m_id);
}

HRESULT Command::get_Name(BSTR* out_name) {
    return GiveString(out_name, m_name);
}

HRESULT Command::get_Title(BSTR* out_title) {
    return GiveString(out_title, m_title);
}

HRESULT Command::put_Title(LPCWSTR title) {
    return Put(m_title, title);
}

HRESULT Command::get_Tip(BSTR* out_tip) {
    return GiveString(out_tip, m_tip);
}

HRESULT Command::put_Tip(LPCWSTR tip) {
    return Put(m_tip, tip);
}

HRESULT Command::put_NewItemStyle(DWORD style) {
    m_new_item_style = style;
    return S_OK;
}

HRESULT Command::put_Category(LPCWSTR title) {
    return Put(m_category, title);
}

HRESULT Command::put_Icon(TMK::IUIX_Icon* icon) {
    m_icon = ComPtr<TMK::IUIX_Icon>(icon);
    m_around.listeners.Tell(&WorkbenchListener::CommandsChanged);
    return S_OK;
}

HRESULT Command::put_SubMenu(TMK::IUIX_CmdBar* menu) {
    if (menu && !dynamic_cast<CommandBar*>(menu)) return E_INVALIDARG;
    m_sub_menu = ComPtr<TMK::IUIX_CmdBar>(menu);
    m_around.listeners.Tell(&WorkbenchListener::BarsChanged);
    return S_OK;
}

HRESULT Command::Put(std::u16string& member, LPCWSTR text) {
    return Guarded([&] {
        member = FromWide(text);
        m_around.listeners.Tell(&WorkbenchListener::CommandsChanged);
        return S_OK;
    });
}

CommandBar* Command::sub_menu() const {
    return static_cast<CommandBar*>(m_sub_menu.get());
}

LONG Command::State(IUnknown* owner) {
    const ComPtr<Command> alive(this);
    const ComPtr<TMK::IUIX_CmdHandler> handler = m_handler;
    LONG state = m_state;
    if (!handler || FAILED(handler->OnGetItemState(this, owner, &state)))
        return TMK::UIX_CmdItemState_Disabled;
    return m_state = state;
}

HRESULT Command::Execute(IUnknown* owner) {
    const ComPtr<Command> alive(this);
    const ComPtr<TMK::IUIX_CmdHandler> handler = m_handler;
    return handler ? handler->OnNotify(TMK::UIX_CmdNotify_Exec, this, owner) : S_FALSE;
}

void Command::Detach() {
    const auto handler = std::exchange(m_handler, nullptr);
    const auto menu = std::exchange(m_sub_menu, nullptr);
}

Commands::Commands(const Surroundings& around) : m_around(around) {}

Commands::~Commands() = default;

HRESULT Commands::get_Count(UINT* out_count) {
    return GiveValue(out_count, m_commands.size());
}

HRESULT Commands::get_Item(UINT index, TMK::IUIX_Cmd** out_command) {
    if (!out_command) return E_POINTER;
    *out_command = nullptr;
    if (index >= m_commands.size()) return E_INVALIDARG;
    return ComPtr<TMK::IUIX_Cmd>(m_commands[index]).CopyTo(out_command);
}

HRESULT Commands::Find(DWORD id, TMK::IUIX_Cmd** out_command) {
    if (!out_command) return E_POINTER;
    *out_command = Find(id).detach();
    return *out_command ? S_OK : S_FALSE;
}

HRESULT Commands::AddNew(LPCWSTR name, IUnknown*, TMK::IUIX_CmdHandler* handler,
                         TMK::IUIX_Cmd** out_command) {
    if (!out_command) return E_POINTER;
    *out_command = nullptr;
    if (!name || !*name || !handler) return E_INVALIDARG;
    return Give(out_command, [&] { return AddCommand(name, handler, false); });
}

HRESULT Commands::Delete(DWORD id) {
    const ComPtr<Command> command = Find(id);
    if (!command) return S_FALSE;
    m_commands.erase(std::find(m_commands.begin(), m_commands.end(), command));
    for (CommandBar* const bar : Bars(*m_bars)) bar->Remove(*command);
    command->Detach();
    m_around.listeners.Tell(&WorkbenchListener::CommandsChanged);
    return S_OK;
}

ComPtr<Command> Commands::Find(DWORD id) const {
    const auto found = std::find_if(m_commands.begin(), m_commands.end(),
                                    [&](const auto& command) { return command->id() == id; });
    return found == m_commands.end() ? ComPtr<Command>() : *found;
}

ComPtr<Command> Commands::Find(std::u16string_view name) const {
    const auto id = m_around.atoms.Find(name);
    return id ? Find(*id) : ComPtr<Command>();
}

ComPtr<Command> Commands::Add(HostCommand made) {
    const auto handler = Make<FunctionHandler>(std::move(made.execute), std::move(made.state));
    ComPtr<Command> command = AddCommand(std::move(made.name), handler, true);
    command->put_Title(made.title.c_str());
    command->put_Tip(made.tip.c_str());
    if (made.icon) command->put_Icon(made.icon.get());
    return command;
}

ComPtr<Command> Commands::AddCommand(std::u16string name, ComPtr<TMK::IUIX_CmdHandler> handler,
                                     bool is_of_host) {
    if (Find(name)) throw Failure(E_FAIL, "there is a command '" + ToUtf8(name) + "' already");
    auto command = Make<Command>(m_around, std::move(name), std::move(handler), is_of_host);
    m_commands.push_back(command);
    m_around.listeners.Tell(&WorkbenchListener::CommandsChanged);
    return command;
}

void Commands::DeleteThoseOfPlugIns() {
    for (const ComPtr<Command>& command : std::vector(m_commands)) {
        if (!command->is_of_host()) Delete(command->id());
    }
}

CommandManager::CommandManager(const Surroundings& around)
    : m_around(around), m_commands(Make<Commands>(around)) {}

HRESULT CommandManager::get_Cmds(TMK::IUIX_Cmds** out_commands) {
    return ComPtr<TMK::IUIX_Cmds>(m_commands).CopyTo(out_commands);
}

HRESULT CommandManager::NewBar(LPCWSTR name, LPCWSTR title, TMK::IUIX_CmdBar** out_bar) {
    return Give(out_bar, [&] {
        return Make<CommandBar>(m_around, m_commands->bars(), FromWide(name), FromWide(title), false);
    });
}

HRESULT CommandManager::UpdateCmdItems(DWORD what, DWORD id) {
    if ((what & TMK::UIX_UpdateCmdItems_State) == 0) return E_INVALIDARG;
    if (id != 0 && !m_commands->Find(id)) return S_FALSE;
    return Guarded([&] {
        Refresh(id);
        return S_OK;
    });
}

ComPtr<CommandBar> CommandManager::MakeBar(const std::u16string& name, const std::u16string& title) {
    return Make<CommandBar>(m_around, m_commands->bars(), name, title, true);
}

void CommandManager::Refresh(DWORD id) {
    if (m_around.listeners.IsEmpty()) return;
    Requests& requests = *m_requests;
    if (id == 0) requests.all = true;
    if (std::find(requests.ids.begin(), requests.ids.end(), id) == requests.ids.end())
        requests.ids.push_back(id);
    if (std::exchange(requests.is_waiting, true)) return;
    m_around.run_after({}, [this, weak = std::weak_ptr(m_requests)] {
        if (const auto waiting = weak.lock()) TellListeners(*waiting);
    });
}

void CommandManager::TellListeners(Requests& requests) const {
    const Requests told = std::exchange(requests, {});
    m_around.listeners.Tell(&WorkbenchListener::StatesChanged, told.all ? std::vector<DWORD>() : told.ids);
}

}  // namespace host
