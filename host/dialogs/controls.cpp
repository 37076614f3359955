#include "host/dialogs/controls.h"

#include <algorithm>

#include "host/base/give.h"

namespace host {

HRESULT ButtonControl::Click() {
    if (!CanBeUsed()) return S_FALSE;
    const ComPtr<ButtonControl> alive(this);
    Notify(TMK::UIX_Control_Clicked);
    return S_OK;
}

HRESULT CheckControl::get_Checked(VARIANT_BOOL* out_checked) {
    return GiveBool(out_checked, m_is_checked);
}

HRESULT CheckControl::put_Checked(VARIANT_BOOL checked) {
    if (std::exchange(m_is_checked, checked != VARIANT_FALSE) != m_is_checked)
        Changed(ControlChange::Checked);
    return S_OK;
}

void CheckControl::Click() {
    if (!CanBeUsed()) return;
    const ComPtr<CheckControl> alive(this);
    m_is_checked = !m_is_checked;
    Changed(ControlChange::Checked);
    Notify(TMK::UIX_Control_Clicked);
}

HRESULT EditControl::put_AllowedChars(LPCWSTR characters) {
    return Guarded([&] {
        m_allowed = characters ? std::optional(FromWide(characters)) : std::nullopt;
        Changed(ControlChange::Traits);
        return S_OK;
    });
}

HRESULT EditControl::put_ReadOnly(VARIANT_BOOL read_only) {
    return SetStyle(read_only != VARIANT_FALSE ? ~DWORD{0} : 0, TMK::UIX_Edit_ReadOnly);
}

HRESULT EditControl::SetSelection(LONG first, LONG end) {
    const LONG length = static_cast<LONG>(m_text.size());
    m_selection_end = end < 0 ? length : std::min(end, length);
    m_selection_first = std::clamp(first, 0, m_selection_end);
    Changed(ControlChange::Selection);
    return S_OK;
}

std::u16string EditControl::Allowed(std::u16string_view text) const {
    std::u16string kept;
    for (const char16_t unit : text) {
        if (unit == u'\r') continue;
        if (unit == u'\n' && !IsMultiLine()) continue;
        if (m_allowed && m_allowed->find(unit) == std::u16string::npos) continue;
        kept += unit;
    }
    return kept;
}

void EditControl::TypeText(std::u16string_view text) {
    if (!CanBeUsed() || IsReadOnly()) return;
    const ComPtr<EditControl> alive(this);
    TakeText(Allowed(text));
}

void EditControl::TakeText(std::u16string text) {
    std::erase(text, u'\r');
    if (text == m_text) return;
    Control::TakeText(std::move(text));
    Notify(TMK::UIX_Control_TextChanged);
}

HRESULT ComboControl::get_ItemsCount(UINT* out_count) {
    return GiveValue(out_count, m_items.size());
}

HRESULT ComboControl::InsertItem(LONG index, LPCWSTR text, LPCWSTR tip, TMK::IUIX_Icon* icon,
                                 TMK::PARAM_T parameter, DWORD) {
    if (index < -1 || index > static_cast<LONG>(m_items.size())) return E_INVALIDARG;
    return Guarded([&] {
        const auto resolved = [&](LPCWSTR given) {
            return owner() ? owner()->catalogue().Resolve(FromWide(given)) : FromWide(given);
        };
        const auto at = index < 0 ? m_items.end() : m_items.begin() + index;
        m_items.insert(at, {resolved(text), resolved(tip), ComPtr<TMK::IUIX_Icon>(icon), parameter});
        if (index >= 0 && m_selected >= index) ++m_selected;
        Changed(ControlChange::Items);
        return S_OK;
    });
}

HRESULT ComboControl::GetItemText(LONG index, BSTR* out_text) {
    if (!out_text) return E_POINTER;
    *out_text = nullptr;
    return Has(index) ? GiveString(out_text, m_items[index].text) : E_INVALIDARG;
}

HRESULT ComboControl::GetItemParam(LONG index, TMK::PARAM_T* out_parameter) {
    if (!out_parameter) return E_POINTER;
    *out_parameter = 0;
    return Has(index) ? GiveValue(out_parameter, m_items[index].parameter) : E_INVALIDARG;
}

HRESULT ComboControl::Clear() {
    m_items.clear();
    m_selected = -1;
    Changed(ControlChange::Items);
    return S_OK;
}

HRESULT ComboControl::get_SelItem(LONG* out_index) {
    return GiveValue(out_index, m_selected);
}

HRESULT ComboControl::put_SelItem(LONG index) {
    if (index != -1 && !Has(index)) return E_INVALIDARG;
    if (std::exchange(m_selected, index) != index) Changed(ControlChange::Selection);
    return S_OK;
}

std::u16string ComboControl::Text() const {
    return Has(m_selected) ? m_items[m_selected].text : m_text;
}

void ComboControl::SelectItem(LONG index) {
    if (!CanBeUsed() || !Has(index) || index == m_selected) return;
    const ComPtr<ComboControl> alive(this);
    put_SelItem(index);
    Notify(TMK::UIX_Control_SelectionChanged);
}

HRESULT PictureControl::put_Icon(TMK::IUIX_Icon* icon) {
    m_icon = ComPtr<TMK::IUIX_Icon>(icon);
    Changed(ControlChange::Icon);
    return S_OK;
}

HRESULT WaitProgressControl::Run(bool runs) {
    if (std::exchange(m_is_running, runs) != runs) Changed(ControlChange::Checked);
    return S_OK;
}

}  // namespace host
