// What every control of a window is: its place, text and state, and how it tells its window of what a person
// does. Owned by its window and by whoever counts it; main thread only.
#pragma once

#include "host/base/object.h"
#include "host/dialogs/dialog_template.h"
#include "host/prompts/catalogue.h"
#include "hostapi/iuix.h"

namespace host {

class Control;

// What the view of a control has to show anew.
enum class ControlChange {
    Text,
    Enabled,
    Shown,
    Focus,
    Icon,
    Checked,    // and whether a progress runs
    Selection,  // in a list, a combo box or an edit field
    Items,      // of a combo box; of a list, other rows or as many of them
    Rows,       // of a list: the same rows with other content
    Columns,
    Notice,
    Traits,  // what an edit field takes
};

// The window of a control.
class ControlOwner {
public:
    virtual void OnNotify(Control& control, TMK::UIX_ControlAction action) = 0;
    virtual void OnChange(Control& control, ControlChange change) = 0;
    virtual const Catalogue& catalogue() const = 0;
    virtual HWND handle() const = 0;
    virtual ComPtr<TMK::IUIX_Obj> Object() = 0;

protected:
    ~ControlOwner() = default;
};

class Control : public Object<TMK::IUIX_Obj> {
public:
    // `id` is the atom of the shape's id.
    Control(ControlOwner& owner, const ControlTemplate& shape, DWORD id);

    HRESULT get_WndHandle(HWND* out_window) override;
    HRESULT GetFirstHWND(HWND* out_window) override;
    HRESULT GetClientRect(RECT* out_rectangle) override;
    HRESULT DoModal(DWORD, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT EndModal(LONGLONG) override { return E_NOTIMPL; }
    HRESULT Destroy() override { return E_NOTIMPL; }
    HRESULT get_Parent(TMK::IUIX_Obj** out_parent) override;
    HRESULT GetRect(RECT* out_rectangle) override;
    HRESULT SetStyle(DWORD value, DWORD mask) override;
    HRESULT get_ID(DWORD* out_id) override;
    HRESULT GetControl(DWORD id, TMK::IUIX_Obj** out_control) override;
    HRESULT get_Text(BSTR* out_text) override;
    HRESULT put_Text(LPCWSTR text) override;
    HRESULT get_Enabled(VARIANT_BOOL* out_enabled) override;
    HRESULT put_Enabled(VARIANT_BOOL enabled) override;
    HRESULT Show(LONG command) override;
    HRESULT SetFocus() override;

    const ControlTemplate& shape() const { return m_shape; }
    ControlKind kind() const { return m_shape.kind; }
    DWORD id() const { return m_id; }
    virtual std::u16string Text() const { return m_text; }
    bool is_enabled() const { return m_is_enabled; }
    bool is_shown() const { return m_is_shown; }
    // Whether a person can do anything with it.
    bool CanBeUsed() const { return m_owner && m_is_enabled && m_is_shown; }
    // The window is gone.
    virtual void Detach() { m_owner = nullptr; }

protected:
    virtual void TakeText(std::u16string text);
    void Changed(ControlChange change);
    void Notify(TMK::UIX_ControlAction action);
    const ControlOwner* owner() const { return m_owner; }

    std::u16string m_text;

private:
    ControlOwner* m_owner;  // null once that is gone
    ControlTemplate m_shape;
    const DWORD m_id;
    bool m_is_enabled = true;
    bool m_is_shown = true;
};

}  // namespace host
