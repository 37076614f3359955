// Commands of the plug-in's own windows, made from a table, and the bar at the top of a pane that shows them.
// Main thread only.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/scaffolding.h"
#include "hostapi/itmk.h"

// The base of those who answer for commands.
class uiCmdHandlerBase : public cCoClassUnknownT<uiCmdHandlerBase, TMK::IUIX_CmdHandler> {
public:
    HRESULT OnGetItemState(TMK::IUIX_Cmd*, IUnknown*, LONG*) override { return E_NOTIMPL; }
    HRESULT OnNotify(LONG, TMK::IUIX_Cmd*, IUnknown*) override { return E_NOTIMPL; }
};

namespace Ui {

using CommandAction = std::function<void(DWORD id)>;
using CommandState = std::function<bool(DWORD id)>;  // whether it can be used now

// What is empty, null or 0 is left to the host.
struct CommandParameter {
    std::u16string id;  // empty: a separator in a bar
    std::u16string title = {};
    std::u16string tip = {};
    const char16_t* icon_theme = nullptr;
    std::vector<BYTE> icon = {};  // a PNG
    DWORD style = 0;
    CommandAction action = nullptr;
    CommandState state = nullptr;
};
using CommandParameters = std::vector<CommandParameter>;

// Routes clicks and questions for states to the functions of a table.
class CommandHandler final : public uiCmdHandlerBase {
public:
    using Callbacks = std::map<DWORD, std::pair<CommandAction, CommandState>>;
    explicit CommandHandler(std::shared_ptr<const Callbacks> callbacks) : m_callbacks(std::move(callbacks)) {}

    HRESULT OnGetItemState(TMK::IUIX_Cmd* i_command, IUnknown* owner, LONG* o_state) override;
    HRESULT OnNotify(LONG type, TMK::IUIX_Cmd* i_command, IUnknown* owner) override;

private:
    std::shared_ptr<const Callbacks> m_callbacks;
};

// Of two rows with one id the first one counts.
HRESULT CreateCommandHandler(TMK::ITMK_Inst* i_tmk, const CommandParameters& parameters,
                             TMK::IUIX_CmdHandler** o_command_handler);
HRESULT CreateCommand(TMK::IUIX_Inst* i_uix, TMK::IUIX_CmdHandler* i_command_handler,
                      const CommandParameter* i_parameter, TMK::IUIX_Cmd** out_command);
// Both pass over ids that the host doesn't know.
HRESULT UpdateCommands(TMK::ITMK_Inst* i_tmk, const CommandParameters& parameters);
HRESULT DeleteCommands(TMK::ITMK_Inst* i_tmk, const CommandParameters& parameters);
// The bar stands at the top of `i_object`'s parent, which has room for panes.
HRESULT CreateCommandBar(TMK::ITMK_Inst* i_tmk, TMK::IUIX_Obj* i_object, const CommandParameters& parameters,
                         TMK::IUIX_CmdBar** out_bar);

}  // namespace Ui
