#include "host/dialogs/control.h"

#include "host/base/give.h"

namespace host {

Control::Control(ControlOwner& owner, const ControlTemplate& shape, DWORD id)
    : m_text(owner.catalogue().Resolve(shape.text)), m_owner(&owner), m_shape(shape), m_id(id) {}

HRESULT Control::get_WndHandle(HWND* out_window) {
    const HRESULT result = GiveValue(out_window, HWND{nullptr});
    return FAILED(result) ? result : S_FALSE;  // only a window has a handle
}

HRESULT Control::GetFirstHWND(HWND* out_window) {
    return GiveValue(out_window, m_owner ? m_owner->handle() : nullptr);
}

HRESULT Control::GetClientRect(RECT* out_rectangle) {
    return GiveValue(out_rectangle, RECT{0, 0, m_shape.place.width, m_shape.place.height});
}

HRESULT Control::get_Parent(TMK::IUIX_Obj** out_parent) {
    if (!out_parent) return E_POINTER;
    *out_parent = m_owner ? m_owner->Object().detach() : nullptr;
    return *out_parent ? S_OK : S_FALSE;
}

HRESULT Control::GetRect(RECT* out_rectangle) {
    const Place& place = m_shape.place;
    return GiveValue(out_rectangle, RECT{place.x, place.y, place.right(), place.bottom()});
}

HRESULT Control::SetStyle(DWORD value, DWORD mask) {
    m_shape.style = (m_shape.style & ~mask) | (value & mask);
    Changed(ControlChange::Traits);
    return S_OK;
}

HRESULT Control::get_ID(DWORD* out_id) {
    return GiveValue(out_id, m_id);
}

HRESULT Control::GetControl(DWORD, TMK::IUIX_Obj** out_control) {
    if (!out_control) return E_POINTER;
    *out_control = nullptr;
    return S_FALSE;
}

HRESULT Control::get_Text(BSTR* out_text) {
    return GiveString(out_text, Text());
}

HRESULT Control::put_Text(LPCWSTR text) {
    return Guarded([&] {
        const ComPtr<Control> alive(this);
        const std::u16string wanted = FromWide(text);
        TakeText(m_owner ? m_owner->catalogue().Resolve(wanted) : wanted);
        return S_OK;
    });
}

void Control::TakeText(std::u16string text) {
    if (text == m_text) return;
    m_text = std::move(text);
    Changed(ControlChange::Text);
}

HRESULT Control::get_Enabled(VARIANT_BOOL* out_enabled) {
    return GiveBool(out_enabled, m_is_enabled);
}

HRESULT Control::put_Enabled(VARIANT_BOOL enabled) {
    if (std::exchange(m_is_enabled, enabled != VARIANT_FALSE) != m_is_enabled)
        Changed(ControlChange::Enabled);
    return S_OK;
}

HRESULT Control::Show(LONG command) {
    if (std::exchange(m_is_shown, command != 0) != m_is_shown) Changed(ControlChange::Shown);
    return S_OK;
}

HRESULT Control::SetFocus() {
    if (!CanBeUsed()) return S_FALSE;
    Changed(ControlChange::Focus);
    return S_OK;
}

void Control::Changed(ControlChange change) {
    if (m_owner) m_owner->OnChange(*this, change);
}

void Control::Notify(TMK::UIX_ControlAction action) {
    if (m_owner) m_owner->OnNotify(*this, action);
}

}  // namespace host
