#include "dialogs/command_objects.h"

#include "base/failure.h"
#include "platform/com_ptr.h"

using namespace TMK;

namespace Ui {
namespace {

constexpr DWORD kBarStyle = UIX_CmdBarStyle_NoGripper | UIX_CmdBarStyle_NoFloat |
                            UIX_CmdBarStyle_NoToggleBtn | UIX_ObjStyle_NoBorder | UIX_ObjStyle_NoBackground;
constexpr DWORD kPaneStyle =
    UIX_CmdPaneStyle_LinesNoToggle | UIX_CmdPaneStyle_NoToggleBtn | UIX_CmdPaneStyle_Docked;
constexpr DWORD kPaneStyleMask = kPaneStyle | UIX_ObjStyle_NoBackground;
static_assert(kPaneStyle == 135680 && kPaneStyleMask == 135744);

HRESULT GetInterface(ITMK_Inst* i_tmk, ComPtr<IUIX_Inst>& uix) {
    TRACE_NAME("Ui::GetInterface");
    CHECK_RETURN(i_tmk != nullptr, E_INVALIDARG);
    CHECK_RESULT_TEXT(i_tmk->GetExtension(u"UIX", reinterpret_cast<IUnknown**>(uix.put())),
                      u"i_tmk->GetExtension(L\"UIX\", (IUnknown**)&uix)");
    CHECK_RETURN(uix != nullptr, E_FAIL);
    return S_OK;
}

HRESULT GetManager(ITMK_Inst* i_tmk, ComPtr<IUIX_CmdManager>& manager) {
    TRACE_NAME("Ui::GetManager");
    ComPtr<IUIX_Inst> uix;
    CHECK_RESULT(GetInterface(i_tmk, uix));
    CHECK_RESULT_TEXT(uix->get_CmdManager(manager.put()), u"uix->get_CmdManager(&manager)");
    CHECK_RETURN(manager != nullptr, E_FAIL);
    return S_OK;
}

// Calls `work` with the atom of each row that the host knows.
template <typename Work>
HRESULT ForKnown(ITMK_Inst* i_tmk, const CommandParameters& parameters, Work&& work) {
    TRACE_NAME("Ui::ForKnown");
    for (const CommandParameter& parameter : parameters) {
        DWORD id = 0;
        CHECK_RESULT(i_tmk->Str2ID(parameter.id.c_str(), VARIANT_FALSE, &id));
        if (id != 0) CHECK_RESULT(work(id));
    }
    return S_OK;
}

HRESULT SetIcon(IUIX_Inst& uix, const CommandParameter& parameter, IUIX_Cmd& command) {
    TRACE_NAME("Ui::SetIcon");
    ComPtr<IUIX_Icon> icon;
    if (parameter.icon_theme) {
        ComPtr<IUIX_Theme> theme;
        CHECK_RESULT_TEXT(uix.get_Theme(theme.put()), u"uix.get_Theme(&theme)");
        CHECK_RETURN(theme != nullptr, E_FAIL);
        CHECK_RESULT_TEXT(theme->GetIcon(parameter.icon_theme, icon.put()),
                          u"theme->GetIcon(parameter.icon_theme, &icon)");
    } else if (!parameter.icon.empty()) {
        ComPtr<IRGC_Inst> images;
        CHECK_RESULT_TEXT(uix.get_ImageExt(images.put()), u"uix.get_ImageExt(&images)");
        CHECK_RETURN(images != nullptr, E_FAIL);
        CHECK_RESULT_TEXT(
            images->CreateIcon(parameter.icon.data(), static_cast<DWORD>(parameter.icon.size()), icon.put()),
            u"images->CreateIcon(data, size, &icon)");
    }
    if (icon) CHECK_RESULT(command.put_Icon(icon.get()));
    return S_OK;
}

HRESULT FillBar(IUIX_Inst& uix, IUIX_CmdHandler& handler, const CommandParameters& parameters,
                IUIX_CmdBar& bar) {
    TRACE_NAME("Ui::CreateCommandBar");
    for (const CommandParameter& parameter : parameters) {
        if (parameter.id.empty()) {
            CHECK_RESULT_TEXT(bar.FlatInsertSeparator(-1, 0, nullptr),
                              u"command_bar->FlatInsertSeparator(-1, 0, nullptr)");
            continue;
        }
        ComPtr<IUIX_Cmd> command;
        CHECK_RESULT_TEXT(CreateCommand(&uix, &handler, &parameter, command.put()),
                          u"CreateCommand(uix, handler, parameter, &command)");
        CHECK_RESULT_TEXT(bar.FlatInsertItem(command.get(), -1, 0, 0, nullptr),
                          u"command_bar->FlatInsertItem(command, -1, 0, 0, nullptr)");
    }
    return S_OK;
}

HRESULT ShowAtTop(IUIX_Obj& parent, IUIX_CmdBar& bar) {
    TRACE_NAME("Ui::CreateCommandBar");
    ComPtr<IUIX_ScrollContainer> scroll_container;
    CHECK_RESULT_TEXT(parent.QueryInterface(kIidOf<IUIX_ScrollContainer>, scroll_container.PutVoid()),
                      u"_QueryImpl(parent_object, scroll_container)");
    ComPtr<IUIX_CmdPane> command_pane;
    CHECK_RESULT_TEXT(scroll_container->get_CmdPaneTop(command_pane.put()),
                      u"scroll_container->get_CmdPaneTop(&command_pane)");
    CHECK_RETURN(command_pane != nullptr, E_FAIL);
    ComPtr<IUIX_Obj> command_pane_object;
    CHECK_RESULT_TEXT(command_pane->get_Obj(command_pane_object.put()),
                      u"command_pane->get_Obj(&command_pane_object)");
    CHECK_RETURN(command_pane_object != nullptr, E_FAIL);
    CHECK_RESULT(command_pane_object->SetStyle(kPaneStyle, kPaneStyleMask));
    CHECK_RESULT(command_pane->InsertBar(&bar, -1, -1, VARIANT_TRUE));
    return S_OK;
}

}  // namespace

HRESULT CommandHandler::OnGetItemState(IUIX_Cmd* i_command, IUnknown*, LONG* o_state) {
    TRACE_ENTRY("CommandHandler::OnGetItemState");
    try {
        CHECK_RETURN(i_command != nullptr, E_INVALIDARG);
        CHECK_RETURN(o_state != nullptr, E_INVALIDARG);
        DWORD id = 0;
        CHECK_RESULT(i_command->get_ID(&id));
        const auto found = m_callbacks->find(id);
        if (found == m_callbacks->end()) TRACE_RETURN(S_OK);
        *o_state = found->second.second(id) ? UIX_CmdItemState_Enabled : UIX_CmdItemState_Disabled;
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT CommandHandler::OnNotify(LONG type, IUIX_Cmd* i_command, IUnknown*) {
    TRACE_ENTRY("CommandHandler::OnNotify");
    try {
        CHECK_RETURN(i_command != nullptr, E_INVALIDARG);
        if (type != UIX_CmdNotify_Exec) TRACE_RETURN(E_NOTIMPL);
        DWORD id = 0;
        CHECK_RESULT(i_command->get_ID(&id));
        const auto found = m_callbacks->find(id);
        if (found != m_callbacks->end()) found->second.first(id);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT CreateCommandHandler(ITMK_Inst* i_tmk, const CommandParameters& parameters,
                             IUIX_CmdHandler** o_command_handler) {
    TRACE_ENTRY("Ui::CreateCommandHandler");
    CHECK_RETURN(i_tmk != nullptr, E_INVALIDARG);
    CHECK_RETURN(o_command_handler != nullptr, E_INVALIDARG);
    *o_command_handler = nullptr;
    const auto callbacks = std::make_shared<CommandHandler::Callbacks>();
    for (const CommandParameter& parameter : parameters) {
        DWORD id = 0;
        CHECK_RESULT(i_tmk->Str2ID(parameter.id.c_str(), VARIANT_TRUE, &id));
        callbacks->try_emplace(id, parameter.action, parameter.state);
    }
    *o_command_handler = MakeObject<CommandHandler>(callbacks).detach();
    TRACE_RETURN(S_OK);
}

HRESULT CreateCommand(IUIX_Inst* i_uix, IUIX_CmdHandler* i_command_handler,
                      const CommandParameter* i_parameter, IUIX_Cmd** out_command) {
    TRACE_ENTRY("Ui::CreateCommand");
    CHECK_RETURN(i_uix != nullptr, E_INVALIDARG);
    CHECK_RETURN(i_command_handler != nullptr, E_INVALIDARG);
    CHECK_RETURN(i_parameter != nullptr, E_INVALIDARG);
    CHECK_RETURN(out_command != nullptr, E_INVALIDARG);
    *out_command = nullptr;
    ComPtr<IUIX_CmdManager> manager;
    CHECK_RESULT_TEXT(i_uix->get_CmdManager(manager.put()), u"i_uix->get_CmdManager(&manager)");
    ComPtr<IUIX_Cmds> commands;
    CHECK_RESULT_TEXT(manager->get_Cmds(commands.put()), u"manager->get_Cmds(&commands)");
    ComPtr<IUIX_Cmd> command;
    CHECK_RESULT_TEXT(commands->AddNew(i_parameter->id.c_str(), nullptr, i_command_handler, command.put()),
                      u"commands->AddNew(i_parameter->id.c_str(), nullptr, i_command_handler, &command)");
    if (!i_parameter->title.empty()) CHECK_RESULT(command->put_Title(i_parameter->title.c_str()));
    if (!i_parameter->tip.empty()) CHECK_RESULT(command->put_Tip(i_parameter->tip.c_str()));
    if (i_parameter->style != 0) CHECK_RESULT(command->put_NewItemStyle(i_parameter->style));
    CHECK_RESULT(SetIcon(*i_uix, *i_parameter, *command));
    *out_command = command.detach();
    TRACE_RETURN(S_OK);
}

HRESULT UpdateCommands(ITMK_Inst* i_tmk, const CommandParameters& parameters) {
    TRACE_ENTRY("Ui::UpdateCommands");
    ComPtr<IUIX_CmdManager> manager;
    CHECK_RESULT(GetManager(i_tmk, manager));
    CHECK_RESULT(ForKnown(i_tmk, parameters,
                          [&](DWORD id) { return manager->UpdateCmdItems(UIX_UpdateCmdItems_State, id); }));
    TRACE_RETURN(S_OK);
}

HRESULT DeleteCommands(ITMK_Inst* i_tmk, const CommandParameters& parameters) {
    TRACE_ENTRY("Ui::DeleteCommands");
    ComPtr<IUIX_CmdManager> manager;
    CHECK_RESULT(GetManager(i_tmk, manager));
    ComPtr<IUIX_Cmds> commands;
    CHECK_RESULT_TEXT(manager->get_Cmds(commands.put()), u"manager->get_Cmds(&commands)");
    CHECK_RESULT(ForKnown(i_tmk, parameters, [&](DWORD id) { return commands->Delete(id); }));
    TRACE_RETURN(S_OK);
}

HRESULT CreateCommandBar(ITMK_Inst* i_tmk, IUIX_Obj* i_object, const CommandParameters& parameters,
                         IUIX_CmdBar** out_bar) {
    TRACE_ENTRY("Ui::CreateCommandBar");
    CHECK_RETURN(i_tmk != nullptr, E_INVALIDARG);
    CHECK_RETURN(i_object != nullptr, E_INVALIDARG);
    CHECK_RETURN(out_bar != nullptr, E_INVALIDARG);
    *out_bar = nullptr;
    ComPtr<IUIX_Inst> uix;
    CHECK_RESULT(GetInterface(i_tmk, uix));
    ComPtr<IUIX_Obj> parent_object;
    CHECK_RESULT_TEXT(i_object->get_Parent(parent_object.put()), u"i_object->get_Parent(&parent_object)");
    CHECK_RETURN(parent_object != nullptr, E_FAIL);
    RECT rect{};
    CHECK_RESULT(i_object->GetRect(&rect));
    ComPtr<IUIX_CmdBar> command_bar;
    CHECK_RESULT_TEXT(
        uix->CreateCmdBar(parent_object.get(), &rect, nullptr, nullptr, kBarStyle, command_bar.put()),
        u"uix->CreateCmdBar(parent_object, &rect, nullptr, nullptr, style, &command_bar)");
    ComPtr<IUIX_CmdHandler> handler;
    CHECK_RESULT_TEXT(CreateCommandHandler(i_tmk, parameters, handler.put()),
                      u"CreateCommandHandler(i_tmk, parameters, &handler)");
    CHECK_RESULT(FillBar(*uix, *handler, parameters, *command_bar));
    CHECK_RESULT(ShowAtTop(*parent_object, *command_bar));
    *out_bar = command_bar.detach();
    TRACE_RETURN(S_OK);
}

}  // namespace Ui
