#include "host/dialogs/dialog_window.h"

#include <algorithm>

#include "host/base/give.h"
#include "host/base/interrupt.h"
#include "host/browser/without_controls.h"
#include "host/dialogs/controls.h"
#include "host/dialogs/list_control.h"
#include "host/dialogs/property_list.h"
#include "platform/window_registry.h"

namespace host {

namespace {

// The window of a pane as plug-ins see it: it has a style and nothing else.
class PaneObject final : public WithoutControls<Object<TMK::IUIX_Obj>> {
public:
    HRESULT get_WndHandle(HWND*) override { return E_NOTIMPL; }
    HRESULT GetFirstHWND(HWND*) override { return E_NOTIMPL; }
    HRESULT GetClientRect(RECT*) override { return E_NOTIMPL; }
    HRESULT DoModal(DWORD, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT EndModal(LONGLONG) override { return E_NOTIMPL; }
    HRESULT Destroy() override { return E_NOTIMPL; }
    HRESULT get_Parent(TMK::IUIX_Obj**) override { return E_NOTIMPL; }
    HRESULT GetRect(RECT*) override { return E_NOTIMPL; }
    HRESULT SetStyle(DWORD, DWORD) override { return S_OK; }
};

}  // namespace

// The bars at the top of a window.
class CommandPane final : public Object<TMK::IUIX_CmdPane> {
public:
    HRESULT get_Obj(TMK::IUIX_Obj** out_object) override { return m_object.CopyTo(out_object); }
    HRESULT InsertBar(TMK::IUIX_CmdBar* bar, LONG, LONG, VARIANT_BOOL visible) override {
        auto* const own = dynamic_cast<CommandBar*>(bar);
        if (!own) return E_INVALIDARG;
        if (visible == VARIANT_FALSE) return S_OK;
        m_bars.emplace_back(own);
        if (on_change) on_change();
        return S_OK;
    }
    const std::vector<ComPtr<CommandBar>>& bars() const { return m_bars; }
    void Clear() {
        on_change = nullptr;
        m_bars.clear();
    }

    std::function<void()> on_change;

private:
    const ComPtr<TMK::IUIX_Obj> m_object = Make<PaneObject>();
    std::vector<ComPtr<CommandBar>> m_bars;
};

// Where posted messages wait for a window that may be gone when their turn comes. Made on the main thread.
class DialogWindow::Mailbox {
public:
    explicit Mailbox(DialogWindow* window) : m_window(window) {}
    void Deliver(UINT message, WPARAM first, LPARAM second) {
        if (m_window) m_window->Send(message, first, static_cast<DWORD_PTR>(second));
    }
    void Close() { m_window = nullptr; }

private:
    DialogWindow* m_window;
};

DialogWindow::DialogWindow(const DialogSurroundings& around, DialogTemplate shape,
                           ComPtr<TMK::IUIX_ObjImpl> implementation)
    : m_around(around),
      m_shape(std::move(shape)),
      m_implementation(std::move(implementation)),
      m_mailbox(std::make_shared<Mailbox>(this)),
      m_handle(platform::RegisterWindow([mailbox = m_mailbox, &main_thread = around.main_thread](
                                            UINT message, WPARAM first, LPARAM second) {
          main_thread.Post([=] {
              mailbox->Deliver(message, first, second);
              return S_OK;
          });
      })),
      m_title(catalogue().Resolve(m_shape.title)),
      m_width(m_shape.width),
      m_height(m_shape.height),
      m_pane(Make<CommandPane>()) {
    for (const ControlTemplate& control : m_shape.controls) m_controls.push_back(MakeControl(control));
    m_pane->on_change = [this] {
        if (m_listener) m_listener->BarsChanged();
    };
}

DialogWindow::~DialogWindow() {
    platform::UnregisterWindow(m_handle);
    m_mailbox->Close();
    m_pane->Clear();
    for (const auto& control : m_controls) control->Detach();
}

ComPtr<Control> DialogWindow::MakeControl(const ControlTemplate& shape) {
    const DWORD id = shape.id.empty() ? 0 : m_around.workbench.atoms.Of(shape.id);
    switch (shape.kind) {
        case ControlKind::Button:
            return Make<ButtonControl>(*this, shape, id);
        case ControlKind::Check:
            return Make<CheckControl>(*this, shape, id);
        case ControlKind::Combo:
            return Make<ComboControl>(*this, shape, id);
        case ControlKind::Edit:
            return Make<EditControl>(*this, shape, id);
        case ControlKind::List:
            return Make<ListControl>(*this, shape, id);
        case ControlKind::Picture:
            return Make<PictureControl>(*this, shape, id);
        case ControlKind::Properties:
            return Make<PropertyListControl>(*this, shape, id);
        case ControlKind::WaitProgress:
            return Make<WaitProgressControl>(*this, shape, id);
        case ControlKind::Group:
        case ControlKind::Label:
            break;
    }
    return Make<Control>(*this, shape, id);
}

ComPtr<Control> DialogWindow::Add(const ControlTemplate& shape) {
    ComPtr<Control> control = MakeControl(shape);
    m_controls.push_back(control);
    if (m_listener) m_listener->ControlAdded(*control);
    return control;
}

HRESULT DialogWindow::get_WndHandle(HWND* out_window) {
    return GiveValue(out_window, m_handle);
}

HRESULT DialogWindow::GetClientRect(RECT* out_rectangle) {
    return GiveValue(out_rectangle, RECT{0, 0, m_width, m_height});
}

HRESULT DialogWindow::DoModal(DWORD, LONGLONG* in_out_result) {
    if (!in_out_result) return E_POINTER;
    if (!m_around.main_thread.IsCurrent() || m_is_modal || !m_implementation) return E_UNEXPECTED;
    const ComPtr<DialogWindow> alive(this);
    m_is_modal = true;
    m_result.reset();
    const HRESULT result = Send(TMK::UIX_Event_InitDialog);
    if (SUCCEEDED(result)) Run(*in_out_result);
    m_is_modal = false;
    if (SUCCEEDED(result)) Send(TMK::UIX_Event_EndModal);
    return FAILED(result) ? result : S_OK;
}

void DialogWindow::Run(LONGLONG& result) {
    const std::unique_ptr<DialogView> view = m_around.views.Show(*this);
    Send(TMK::UIX_Event_ShowModal);
    m_around.main_thread.PumpUntil([&] {
        if (!m_result) view->Poll();
        return m_result || InterruptFlag();
    });
    result = m_result.value_or(0);
    SetListener(nullptr);
}

HRESULT DialogWindow::EndModal(LONGLONG result) {
    if (!IsModal() || m_is_asked_to_end) return S_FALSE;
    const ComPtr<DialogWindow> alive(this);
    TMK::UIX_Event event{};
    event.nCode = TMK::UIX_Event_PreEndModal;
    event.nParam1 = static_cast<DWORD_PTR>(result);
    m_is_asked_to_end = true;
    Send(event);
    m_is_asked_to_end = false;
    if (event.bHandled != VARIANT_FALSE || !IsModal()) return S_FALSE;
    m_result = result;
    return S_OK;
}

HRESULT DialogWindow::Destroy() {
    if (!m_implementation) return S_FALSE;
    const ComPtr<DialogWindow> alive(this);
    if (IsModal()) m_result = 0;
    Send(TMK::UIX_Event_BeforeDestroy);
    platform::UnregisterWindow(m_handle);
    m_mailbox->Close();
    // A second Destroy, from within this call, does nothing.
    const auto implementation = std::exchange(m_implementation, nullptr);
    if (implementation) implementation->put_Obj(nullptr);
    for (const auto& control : m_controls) control->Detach();
    m_pane->Clear();
    if (const auto on_destroyed = std::exchange(m_on_destroyed, nullptr)) on_destroyed();
    return S_OK;
}

HRESULT DialogWindow::get_Parent(TMK::IUIX_Obj** out_parent) {
    if (!out_parent) return E_POINTER;
    *out_parent = nullptr;
    return S_FALSE;
}

HRESULT DialogWindow::get_ID(DWORD* out_id) {
    return GiveValue(out_id, m_around.workbench.atoms.Of(m_shape.id));
}

HRESULT DialogWindow::GetControl(DWORD id, TMK::IUIX_Obj** out_control) {
    if (!out_control) return E_POINTER;
    *out_control = nullptr;
    const auto found = std::find_if(m_controls.begin(), m_controls.end(),
                                    [&](const auto& control) { return id != 0 && control->id() == id; });
    if (found == m_controls.end()) return S_FALSE;
    return ComPtr<TMK::IUIX_Obj>(*found).CopyTo(out_control);
}

HRESULT DialogWindow::get_Text(BSTR* out_text) {
    return GiveString(out_text, m_title);
}

HRESULT DialogWindow::put_Text(LPCWSTR text) {
    return Guarded([&] {
        m_title = catalogue().Resolve(FromWide(text));
        if (m_listener) m_listener->TitleChanged();
        return S_OK;
    });
}

HRESULT DialogWindow::get_Enabled(VARIANT_BOOL* out_enabled) {
    return GiveBool(out_enabled, true);
}

HRESULT DialogWindow::get_CmdPaneTop(TMK::IUIX_CmdPane** out_pane) {
    return ComPtr<TMK::IUIX_CmdPane>(m_pane).CopyTo(out_pane);
}

Control* DialogWindow::Find(std::u16string_view id) const {
    const auto found = std::find_if(m_controls.begin(), m_controls.end(),
                                    [&](const auto& control) { return control->shape().id == id; });
    return found == m_controls.end() ? nullptr : found->get();
}

const std::vector<ComPtr<CommandBar>>& DialogWindow::bars() const {
    return m_pane->bars();
}

bool DialogWindow::PressEnter() {
    auto* const button = Find<ButtonControl>(m_shape.default_item);
    return button && button->Click() == S_OK;
}

void DialogWindow::Resize(LONG width, LONG height) {
    if (width == m_width && height == m_height) return;
    m_width = width;
    m_height = height;
    Send(TMK::UIX_Event_Size);
}

void DialogWindow::OnNotify(Control& control, TMK::UIX_ControlAction action) {
    const ComPtr<DialogWindow> alive(this);
    Send(TMK::UIX_Event_Notify, control.id(), action);
}

void DialogWindow::OnChange(Control& control, ControlChange change) {
    if (change == ControlChange::Focus) m_focused = &control;
    if (m_listener) m_listener->ControlChanged(control, change);
}

HRESULT DialogWindow::Send(TMK::UIX_Event& event) {
    const ComPtr<DialogWindow> alive(this);
    const ComPtr<TMK::IUIX_ObjImpl> held = m_implementation;
    return held ? held->OnEvent(&event) : S_FALSE;
}

HRESULT DialogWindow::Send(DWORD code, DWORD_PTR first, DWORD_PTR second) {
    TMK::UIX_Event event{};
    event.nCode = code;
    event.nParam1 = first;
    event.nParam2 = second;
    return Send(event);
}

}  // namespace host
