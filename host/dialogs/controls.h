// The plain controls. What stands under "by the person" is for views and tests alike: a disabled or hidden
// control takes none of it. Main thread only.
#pragma once

#include <optional>
#include <vector>

#include "host/dialogs/control.h"

namespace host {

class ButtonControl final : public Also<Control, TMK::IUIX_Button> {
public:
    using Also::Also;
    HRESULT Click() override;  // by the person as well
};

class CheckControl final : public Also<Control, TMK::IUIX_Check> {
public:
    using Also::Also;
    HRESULT get_Checked(VARIANT_BOOL* out_checked) override;
    HRESULT put_Checked(VARIANT_BOOL checked) override;

    bool is_checked() const { return m_is_checked; }
    // By the person.
    void Click();

private:
    bool m_is_checked = false;
};

class EditControl final : public Also<Control, TMK::IUIX_Edit> {
public:
    using Also::Also;
    HRESULT put_AllowedChars(LPCWSTR characters) override;
    HRESULT put_ReadOnly(VARIANT_BOOL read_only) override;
    HRESULT SetSelection(LONG first, LONG end) override;

    bool IsMultiLine() const { return (shape().style & TMK::UIX_Edit_MultiLine) != 0; }
    bool IsPassword() const { return (shape().style & TMK::UIX_Edit_Password) != 0; }
    bool IsReadOnly() const { return (shape().style & TMK::UIX_Edit_ReadOnly) != 0; }
    LONG selection_first() const { return m_selection_first; }
    LONG selection_end() const { return m_selection_end; }
    // What a person's text comes to here: without what can't be typed.
    std::u16string Allowed(std::u16string_view text) const;
    // By the person: all that stands in the field now.
    void TypeText(std::u16string_view text);

private:
    void TakeText(std::u16string text) override;

    std::optional<std::u16string> m_allowed;
    LONG m_selection_first = 0;
    LONG m_selection_end = 0;
};

struct ComboItem {
    std::u16string text;
    std::u16string tip;
    ComPtr<TMK::IUIX_Icon> icon;
    TMK::PARAM_T parameter;
};

class ComboControl final : public Also<Control, TMK::IUIX_Combo> {
public:
    using Also::Also;
    HRESULT get_ItemsCount(UINT* out_count) override;
    HRESULT InsertItem(LONG index, LPCWSTR text, LPCWSTR tip, TMK::IUIX_Icon* icon, TMK::PARAM_T parameter,
                       DWORD flags) override;
    HRESULT GetItemText(LONG index, BSTR* out_text) override;
    HRESULT GetItemParam(LONG index, TMK::PARAM_T* out_parameter) override;
    HRESULT Clear() override;
    HRESULT get_SelItem(LONG* out_index) override;
    HRESULT put_SelItem(LONG index) override;

    // The selected item's text, or what was put while none is.
    std::u16string Text() const override;
    const std::vector<ComboItem>& items() const { return m_items; }
    LONG selected() const { return m_selected; }
    // By the person.
    void SelectItem(LONG index);

private:
    bool Has(LONG index) const { return index >= 0 && static_cast<std::size_t>(index) < m_items.size(); }

    std::vector<ComboItem> m_items;
    LONG m_selected = -1;
};

class PictureControl final : public Also<Control, TMK::IUIX_Picture> {
public:
    using Also::Also;
    HRESULT put_Icon(TMK::IUIX_Icon* icon) override;
    TMK::IUIX_Icon* icon() const { return m_icon.get(); }

private:
    ComPtr<TMK::IUIX_Icon> m_icon;
};

class WaitProgressControl final : public Also<Control, TMK::IUIX_WaitProgress> {
public:
    using Also::Also;
    HRESULT Start() override { return Run(true); }
    HRESULT Stop() override { return Run(false); }
    bool is_running() const { return m_is_running; }

private:
    HRESULT Run(bool runs);

    bool m_is_running = false;
};

}  // namespace host
