// A window made from a template: its controls, its implementation in the plug-in, and the events between
// them. Owned by the list of windows until it is destroyed; main thread only.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "host/base/main_thread.h"
#include "host/dialogs/views.h"
#include "host/workbench/command_bars.h"

namespace host {

// What all windows share; it outlives them.
struct DialogSurroundings {
    MainThread& main_thread;
    const Surroundings& workbench;
    DialogViews& views;
};

class CommandPane;

class DialogWindow final : public Also<Object<TMK::IUIX_Obj>, TMK::IUIX_ScrollContainer>,
                           public ControlOwner {
public:
    DialogWindow(const DialogSurroundings& around, DialogTemplate shape,
                 ComPtr<TMK::IUIX_ObjImpl> implementation);
    ~DialogWindow() override;

    HRESULT get_WndHandle(HWND* out_window) override;
    HRESULT GetFirstHWND(HWND* out_window) override { return get_WndHandle(out_window); }
    HRESULT GetClientRect(RECT* out_rectangle) override;
    HRESULT DoModal(DWORD mode, LONGLONG* in_out_result) override;
    HRESULT EndModal(LONGLONG result) override;
    HRESULT Destroy() override;
    HRESULT get_Parent(TMK::IUIX_Obj** out_parent) override;
    HRESULT GetRect(RECT* out_rectangle) override { return GetClientRect(out_rectangle); }
    HRESULT SetStyle(DWORD, DWORD) override { return S_OK; }
    HRESULT get_ID(DWORD* out_id) override;
    HRESULT GetControl(DWORD id, TMK::IUIX_Obj** out_control) override;
    HRESULT get_Text(BSTR* out_text) override;
    HRESULT put_Text(LPCWSTR text) override;
    HRESULT get_Enabled(VARIANT_BOOL* out_enabled) override;
    HRESULT put_Enabled(VARIANT_BOOL) override { return E_NOTIMPL; }
    HRESULT Show(LONG) override { return E_NOTIMPL; }
    HRESULT SetFocus() override { return S_OK; }
    HRESULT get_CmdPaneTop(TMK::IUIX_CmdPane** out_pane) override;

    // Null for none. A control of the wrong kind is none either.
    Control* Find(std::u16string_view id) const;
    template <class Kind>
    Kind* Find(std::u16string_view id) const {
        return dynamic_cast<Kind*>(Find(id));
    }
    const std::vector<ComPtr<Control>>& controls() const { return m_controls; }
    // A control without a template.
    ComPtr<Control> Add(const ControlTemplate& shape);
    const DialogTemplate& shape() const { return m_shape; }
    const std::u16string& title() const { return m_title; }
    // The control that was given the keyboard last; null for none.
    Control* focused() const { return m_focused; }
    const std::vector<ComPtr<CommandBar>>& bars() const;
    const Surroundings& workbench() const { return m_around.workbench; }
    // Tells the implementation that its controls are made, for a window that is shown inside another one.
    HRESULT Open() { return Send(TMK::UIX_Event_InitDialog); }
    bool IsModal() const { return m_is_modal && !m_result; }
    void SetListener(DialogListener* listener) { m_listener = listener; }
    void OnDestroyed(std::function<void()> action) { m_on_destroyed = std::move(action); }

    // By the person.
    void CloseByPerson() { EndModal(0); }
    void PressEscape() { CloseByPerson(); }
    bool PressEnter();  // false when the window has no button for that, or it can't be used
    void Resize(LONG width, LONG height);

    void OnNotify(Control& control, TMK::UIX_ControlAction action) override;
    void OnChange(Control& control, ControlChange change) override;
    const Catalogue& catalogue() const override { return m_around.workbench.catalogue; }
    HWND handle() const override { return m_handle; }
    ComPtr<TMK::IUIX_Obj> Object() override { return ComPtr<TMK::IUIX_Obj>(this); }

private:
    class Mailbox;

    HRESULT Send(TMK::UIX_Event& event);
    HRESULT Send(DWORD code, DWORD_PTR first = 0, DWORD_PTR second = 0);
    void Run(LONGLONG& result);
    ComPtr<Control> MakeControl(const ControlTemplate& shape);

    const DialogSurroundings& m_around;
    const DialogTemplate m_shape;
    ComPtr<TMK::IUIX_ObjImpl> m_implementation;  // null once the window is destroyed
    const std::shared_ptr<Mailbox> m_mailbox;
    const HWND m_handle;
    std::u16string m_title;
    LONG m_width;
    LONG m_height;
    std::vector<ComPtr<Control>> m_controls;
    Control* m_focused = nullptr;
    const ComPtr<CommandPane> m_pane;
    DialogListener* m_listener = nullptr;
    std::function<void()> m_on_destroyed;
    bool m_is_modal = false;
    bool m_is_asked_to_end = false;
    std::optional<LONGLONG> m_result;
};

}  // namespace host
