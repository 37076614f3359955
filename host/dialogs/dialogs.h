// The windows that plug-ins make from templates: those with controls live here, a window for a browser's pane
// alone is left to the front end. Owned by the host; main thread only.
#pragma once

#include "host/browser/windows.h"
#include "host/dialogs/preference_pages.h"
#include "host/workbench/workbench.h"

namespace host {

class Dialogs {
public:
    // All outlive it. `views` is null where windows can't be shown.
    Dialogs(MainThread& main_thread, Windows& panes, Workbench& workbench, DialogViews* views);
    ~Dialogs();
    Dialogs(const Dialogs&) = delete;
    Dialogs& operator=(const Dialogs&) = delete;

    // As IUIX_Inst::CreateObj. Throws a Failure that says what is wrong with the template, or that windows
    // can't be shown.
    HRESULT Create(const TMK::UIX_CreateObjParams& parameters, ComPtr<TMK::IUIX_Obj>& out_object);
    void DestroyAll();
    // The pages of preferences that plug-ins have, for a window that is about to show them. Null where
    // windows can't be shown. They are closed at the latest when the plug-in goes.
    ComPtr<PreferencePages> OpenPreferences();

private:
    // Throws a Failure with what the implementation says of it.
    ComPtr<DialogWindow> MakeWindow(DialogTemplate shape, TMK::IUIX_ObjImpl& implementation);
    static HRESULT CreateControl(const TMK::UIX_CreateObjParams& parameters,
                                 ComPtr<TMK::IUIX_Obj>& out_object);
    void Forget(DialogWindow& window);

    MainThread& m_main_thread;
    Windows& m_panes;
    Workbench& m_workbench;
    std::optional<DialogSurroundings> m_around;  // none where windows can't be shown
    std::vector<ComPtr<DialogWindow>> m_windows;
};

}  // namespace host
