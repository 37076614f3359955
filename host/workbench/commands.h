// The commands of the host and of its plug-ins, and the manager that plug-ins make them through.
// Owned by the workbench; main thread only.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/base/object.h"
#include "host/prompts/catalogue.h"
#include "host/workbench/atoms.h"
#include "host/workbench/icons.h"
#include "host/workbench/listener.h"
#include "host/workbench/timers.h"
#include "hostapi/iuix.h"

namespace host {

class CommandBar;

// What the models of the workbench share; it outlives them.
struct Surroundings {
    const Catalogue& catalogue;
    Atoms& atoms;
    Listeners& listeners;
    RunAfter run_after;
};

// "&Open && close" as people read it, without the marks of mnemonics.
std::u16string WithoutMnemonic(std::u16string_view title);

class Command final : public Object<TMK::IUIX_Cmd> {
public:
    Command(const Surroundings& around, std::u16string name, ComPtr<TMK::IUIX_CmdHandler> handler,
            bool is_of_host);
    ~Command() override;

    HRESULT get_ID(DWORD* out_id) override;
    HRESULT get_Name(BSTR* out_name) override;
    HRESULT get_Title(BSTR* out_title) override;
    HRESULT put_Title(LPCWSTR title) override;
    HRESULT get_Tip(BSTR* out_tip) override;
    HRESULT put_Tip(LPCWSTR tip) override;
    HRESULT put_NewItemStyle(DWORD style) override;
    HRESULT put_Category(LPCWSTR title) override;
    HRESULT put_Icon(TMK::IUIX_Icon* icon) override;
    HRESULT put_SubMenu(TMK::IUIX_CmdBar* menu) override;

    DWORD id() const { return m_id; }
    const std::u16string& name() const { return m_name; }
    bool is_of_host() const { return m_is_of_host; }
    DWORD new_item_style() const { return m_new_item_style; }
    // Resolved texts, the title with "&" before its mnemonic.
    std::u16string Title() const { return m_around.catalogue.Resolve(m_title); }
    std::u16string Tip() const { return m_around.catalogue.Resolve(m_tip); }
    std::u16string Category() const { return m_around.catalogue.Resolve(m_category); }
    const Icon* icon() const { return OwnIcon(m_icon.get()); }  // null for none
    CommandBar* sub_menu() const;                               // null for none

    // UIX_CmdItemState flags, asked of the handler; `owner` is what shows the command.
    LONG State(IUnknown* owner);
    bool IsEnabled(IUnknown* owner) { return (State(owner) & TMK::UIX_CmdItemState_Disabled) == 0; }
    // What a click does; S_FALSE once the command is deleted.
    HRESULT Execute(IUnknown* owner);
    // Lets go of the handler and the menu.
    void Detach();

private:
    HRESULT Put(std::u16string& member, LPCWSTR text);

    const Surroundings& m_around;
    const std::u16string m_name;
    const DWORD m_id;
    const bool m_is_of_host;
    ComPtr<TMK::IUIX_CmdHandler> m_handler;
    std::u16string m_title;
    std::u16string m_tip;
    std::u16string m_category;
    DWORD m_new_item_style = 0;
    LONG m_state = TMK::UIX_CmdItemState_Enabled;
    ComPtr<TMK::IUIX_Icon> m_icon;
    ComPtr<TMK::IUIX_CmdBar> m_sub_menu;
};

// A command of the host itself.
struct HostCommand {
    std::u16string name;
    std::u16string title;  // "$$$." and an id, or a text
    std::u16string tip = {};
    ComPtr<Icon> icon = nullptr;
    std::function<HRESULT(IUnknown* owner)> execute = nullptr;
    std::function<LONG(IUnknown* owner)> state = nullptr;  // none: always enabled
};

class Commands final : public Object<TMK::IUIX_Cmds> {
public:
    explicit Commands(const Surroundings& around);
    ~Commands() override;

    HRESULT get_Count(UINT* out_count) override;
    HRESULT get_Item(UINT index, TMK::IUIX_Cmd** out_command) override;
    HRESULT Find(DWORD id, TMK::IUIX_Cmd** out_command) override;
    HRESULT AddNew(LPCWSTR name, IUnknown* reserved, TMK::IUIX_CmdHandler* handler,
                   TMK::IUIX_Cmd** out_command) override;
    HRESULT Delete(DWORD id) override;

    // In the order of their making.
    const std::vector<ComPtr<Command>>& all() const { return m_commands; }
    ComPtr<Command> Find(DWORD id) const;                  // null for none
    ComPtr<Command> Find(std::u16string_view name) const;  // null for none
    ComPtr<Command> Add(HostCommand command);              // throws a Failure when there is one of that name
    void DeleteThoseOfPlugIns();

    // Bars are known here, so that a deleted command leaves them all.
    using Bars = std::vector<CommandBar*>;
    const std::shared_ptr<Bars>& bars() const { return m_bars; }

private:
    ComPtr<Command> AddCommand(std::u16string name, ComPtr<TMK::IUIX_CmdHandler> handler, bool is_of_host);

    const Surroundings& m_around;
    std::vector<ComPtr<Command>> m_commands;
    const std::shared_ptr<Bars> m_bars = std::make_shared<Bars>();
};

class CommandManager final : public Object<TMK::IUIX_CmdManager> {
public:
    explicit CommandManager(const Surroundings& around);

    HRESULT get_Cmds(TMK::IUIX_Cmds** out_commands) override;
    HRESULT NewBar(LPCWSTR name, LPCWSTR title, TMK::IUIX_CmdBar** out_bar) override;
    HRESULT UpdateCmdItems(DWORD what, DWORD id) override;

    Commands& commands() const { return *m_commands; }
    // A bar that is shown nowhere yet.
    ComPtr<CommandBar> MakeBar(const std::u16string& name, const std::u16string& title);
    // The listeners ask for the state of a command again, or of all for 0; many requests become one.
    void Refresh(DWORD id);

private:
    struct Requests {
        bool is_waiting = false;
        bool all = false;
        std::vector<DWORD> ids;
    };
    void TellListeners(Requests& requests) const;

    const Surroundings& m_around;
    const ComPtr<Commands> m_commands;
    const std::shared_ptr<Requests> m_requests = std::make_shared<Requests>();
};

}  // namespace host
