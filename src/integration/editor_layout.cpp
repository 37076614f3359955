// Where the commands stand in the editor's ribbon, or in its menus.
#include "base/failure.h"
#include "base/plugin_context.h"
#include "integration/events_handler.h"

HRESULT EventsHandler::IntegrateToEditorUI(TMK::ITMK_View* view) {
    TRACE_ENTRY("EventsHandler::IntegrateToEditorUI");
    CHECK_RETURN(view != nullptr, E_FAIL);
    DWORD id = 0;
    CHECK_RETURN_TEXT(SUCCEEDED(view->get_ID(&id)), E_FAIL, u"view->get_ID(&id)");
    if (id != m_main_view) TRACE_RETURN(S_FALSE);
    ComPtr<TMK::IUIX_Ribbon> ribbon;
    CHECK_RETURN_TEXT(SUCCEEDED(view->get_Ribbon(ribbon.put())), E_FAIL, u"view->get_Ribbon(&ribbon)");
    const HRESULT result = ribbon ? AddToRibbon(*ribbon) : AddToMenus(*view);
    CHECK_RETURN_TEXT(SUCCEEDED(result), E_FAIL, ribbon ? u"AddToRibbon(*ribbon)" : u"AddToMenus(*view)");
    TRACE_RETURN(S_OK);
}

HRESULT EventsHandler::AddToRibbon(TMK::IUIX_Ribbon& ribbon) {
    TRACE_NAME("EventsHandler::IntegrateToEditorUI");
    ComPtr<TMK::IUIX_RibbonTab> tab;
    CHECK_RESULT_TEXT(ribbon.FindTab(m_share_tab, tab.put()), u"ribbon->FindTab(m_share_tab, &tab)");
    if (tab) CHECK_RESULT(AddToShareTab(*tab));
    ComPtr<TMK::IUIX_CmdBar> group;
    CHECK_RESULT_TEXT(ribbon.FindGroup(m_share_group, group.put()),
                      u"ribbon->FindGroup(m_share_group, &group)");
    if (group) CHECK_RESULT(AddToShareGroup(*group));
    return S_OK;
}

HRESULT EventsHandler::AddToShareTab(TMK::IUIX_RibbonTab& tab) {
    TRACE_NAME("EventsHandler::IntegrateToEditorUI");
    ComPtr<TMK::IUIX_CmdManager> manager;
    CHECK_RESULT(GetManager(manager));
    ComPtr<TMK::IUIX_CmdBar> bar;
    CHECK_RESULT_TEXT(manager->NewBar(u"sp.rbar.sharepoint", u"$$$.sp.rbar.sharepoint", bar.put()),
                      u"manager->NewBar(L\"sp.rbar.sharepoint\", L\"$$$.sp.rbar.sharepoint\", &bar)");
    CHECK_RETURN(bar != nullptr, E_FAIL);
    CHECK_RESULT(Fill(*bar, {check_in, check_out, kSeparator, discard, kSeparator, enable_editing}));
    CHECK_RESULT(tab.AddBar(bar.get()));
    return S_OK;
}

HRESULT EventsHandler::AddToShareGroup(TMK::IUIX_CmdBar& group) {
    return Fill(group, {kSeparator, check_in, check_out, discard, enable_editing});
}

HRESULT EventsHandler::AddToMenus(TMK::ITMK_View& view) {
    TRACE_NAME("EventsHandler::IntegrateToEditorUI");
    ComPtr<TMK::IUIX_CmdManager> manager;
    CHECK_RESULT(GetManager(manager));
    ComPtr<TMK::IUIX_Cmds> commands;
    CHECK_RESULT(GetCommands(commands));
    ComPtr<TMK::IUIX_CmdBar> menubar;
    CHECK_RESULT_TEXT(view.FindCmdBar(m_menubar, menubar.put()), u"view->FindCmdBar(m_menubar, &menubar)");
    CHECK_RETURN(menubar != nullptr, E_FAIL);
    ComPtr<TMK::IUIX_CmdBar> menu;
    CHECK_RESULT_TEXT(manager->NewBar(nullptr, u"$$$.sp.cmd.share_point", menu.put()),
                      u"manager->NewBar(nullptr, L\"$$$.sp.cmd.share_point\", &menu)");
    CHECK_RETURN(menu != nullptr, E_FAIL);
    CHECK_RESULT(Fill(*menu, {check_in, check_out, kSeparator, discard, kSeparator, enable_editing}));
    ComPtr<TMK::IUIX_Cmd> command;
    CHECK_RESULT_TEXT(commands->Find(m_commands[share_point].id, command.put()),
                      u"commands->Find(share_point, &command)");
    CHECK_RETURN(command != nullptr, E_FAIL);
    CHECK_RESULT(command->put_SubMenu(menu.get()));
    LONG before_window = -1;
    CHECK_RESULT(menubar->FindItem(m_window_menu, &before_window));
    return InsertCommand(*menubar, share_point, before_window);
}

HRESULT EventsHandler::Fill(TMK::IUIX_CmdBar& bar, const std::vector<Row>& items) {
    TRACE_NAME("EventsHandler::IntegrateToEditorUI");
    for (const Row item : items) {
        if (item == kSeparator) {
            CHECK_RESULT(bar.FlatInsertSeparator(-1, 0, nullptr));
        } else {
            CHECK_RESULT(InsertCommand(bar, item, -1));
        }
    }
    return S_OK;
}

HRESULT EventsHandler::InsertCommand(TMK::IUIX_CmdBar& bar, Row row, LONG index) {
    TRACE_NAME("EventsHandler::IntegrateToEditorUI");
    ComPtr<TMK::IUIX_Cmds> commands;
    CHECK_RESULT(GetCommands(commands));
    ComPtr<TMK::IUIX_Cmd> command;
    CHECK_RESULT_TEXT(commands->Find(m_commands[row].id, command.put()), u"commands->Find(id, &command)");
    CHECK_RETURN(command != nullptr, E_FAIL);
    CHECK_RESULT(bar.FlatInsertItem(command.get(), index, 0, 0, nullptr));
    return S_OK;
}
