#include "host/dialogs/list_control.h"

#include <algorithm>

#include "host/base/give.h"

namespace host {

HRESULT ListControl::put_Callbacks(TMK::IUIX_ListCallbacks* callbacks) {
    m_callbacks = ComPtr<TMK::IUIX_ListCallbacks>(callbacks);
    Changed(ControlChange::Rows);
    return S_OK;
}

HRESULT ListControl::get_ColumnsCount(UINT* out_count) {
    return GiveValue(out_count, m_columns.size());
}

HRESULT ListControl::InsertColumn(LONG index, LPCWSTR title, LPCWSTR tip, TMK::IUIX_Icon* icon, LONG width,
                                  DWORD style) {
    if (index < -1 || index > static_cast<LONG>(m_columns.size())) return E_INVALIDARG;
    return Guarded([&] {
        const LONG at = index < 0 ? static_cast<LONG>(m_columns.size()) : index;
        m_columns.insert(m_columns.begin() + at, ListColumn{});
        return SetColumn(at, ~DWORD{0}, title, tip, icon, width, style, ~DWORD{0}, 0);
    });
}

HRESULT ListControl::SetColumn(LONG index, DWORD what, LPCWSTR title, LPCWSTR tip, TMK::IUIX_Icon* icon,
                               LONG width, DWORD style, DWORD style_mask, DWORD) {
    if (!HasColumn(index)) return E_INVALIDARG;
    return Guarded([&] {
        const auto resolved = [&](LPCWSTR text) {
            return owner() ? owner()->catalogue().Resolve(FromWide(text)) : FromWide(text);
        };
        ListColumn& column = m_columns[index];
        if (what & TMK::UIX_ListColumn_Title) column.title = resolved(title);
        if (what & TMK::UIX_ListColumn_Tip) column.tip = resolved(tip);
        if (what & TMK::UIX_ListColumn_Icon) column.icon = ComPtr<TMK::IUIX_Icon>(icon);
        if (what & TMK::UIX_ListColumn_Width) column.width = std::max<LONG>(width, 0);
        if (what & TMK::UIX_ListColumn_Style)
            column.style = (column.style & ~style_mask) | (style & style_mask);
        Changed(ControlChange::Columns);
        return S_OK;
    });
}

HRESULT ListControl::GetColumnStyle(LONG index, DWORD* out_style) {
    if (!out_style) return E_POINTER;
    *out_style = 0;
    return HasColumn(index) ? GiveValue(out_style, m_columns[index].style) : E_INVALIDARG;
}

HRESULT ListControl::get_ItemsCount(UINT* out_count) {
    return GiveValue(out_count, m_parameters.size());
}

HRESULT ListControl::InsertItem(LONG index, TMK::PARAM_T parameter, DWORD) {
    if (index < -1 || index > RowCount()) return E_INVALIDARG;
    return Guarded([&] {
        const bool is_last = index < 0 || index == RowCount();
        m_parameters.insert(is_last ? m_parameters.end() : m_parameters.begin() + index, parameter);
        if (!is_last) {
            std::set<LONG> moved;
            for (const LONG row : m_selected) moved.insert(row >= index ? row + 1 : row);
            m_selected.swap(moved);
        }
        Changed(ControlChange::Items);
        return S_OK;
    });
}

HRESULT ListControl::DeleteAllItems() {
    m_parameters.clear();
    m_selected.clear();
    Changed(ControlChange::Items);
    return S_OK;
}

HRESULT ListControl::RedrawItems(LONG first, LONG last) {
    if (first < 0 || last < -1) return E_INVALIDARG;
    Changed(ControlChange::Rows);
    return S_OK;
}

HRESULT ListControl::GetNextSelected(LONG start, LONG* out_index) {
    if (!out_index) return E_POINTER;
    const auto found = m_selected.lower_bound(start);
    *out_index = found == m_selected.end() ? -1 : *found;
    return *out_index < 0 ? S_FALSE : S_OK;
}

HRESULT ListControl::SelectItem(LONG index, VARIANT_BOOL select) {
    if (index != -1 && !HasRow(index)) return E_INVALIDARG;
    const bool selects = select != VARIANT_FALSE;
    return Guarded([&] {
        if (selects && index == -1 && IsMultiSelect()) {
            for (LONG row = 0; row < RowCount(); ++row) m_selected.insert(m_selected.end(), row);
        } else if (index == -1) {
            m_selected.clear();
        } else if (selects) {
            if (!IsMultiSelect()) m_selected.clear();
            m_selected.insert(index);
        } else {
            m_selected.erase(index);
        }
        Changed(ControlChange::Selection);
        return S_OK;
    });
}

HRESULT ListControl::SetNotice(LPCWSTR text, LPCWSTR button) {
    return Guarded([&] {
        const auto resolved = [&](LPCWSTR given) {
            return owner() ? owner()->catalogue().Resolve(FromWide(given)) : FromWide(given);
        };
        m_notice.reset();
        if (text) m_notice = ListNotice{resolved(text), resolved(button)};
        Changed(ControlChange::Notice);
        return S_OK;
    });
}

void ListControl::Detach() {
    Control::Detach();
    m_callbacks.reset();
}

ListText ListControl::TextAt(LONG row, LONG column) const {
    const ComPtr<TMK::IUIX_ListCallbacks> callbacks = m_callbacks;
    if (!callbacks || !HasRow(row)) return {};
    const TMK::UIX_ListItemID id{row, column};
    LPCWSTR text = nullptr;
    UINT length = 0;
    DWORD flags = 0;
    if (callbacks->List_OnGetItemText(&id, &text, &length, &flags) != S_OK || !text) return {};
    return {std::u16string(text, length), flags};
}

ComPtr<TMK::IUIX_Icon> ListControl::IconAt(LONG row, LONG column) const {
    const ComPtr<TMK::IUIX_ListCallbacks> callbacks = m_callbacks;
    ComPtr<TMK::IUIX_Icon> icon;
    BYTE opacity = 0;
    const TMK::UIX_ListItemID id{row, column};
    if (!callbacks || !HasRow(row) || callbacks->List_OnGetItemImage(&id, icon.put(), &opacity) != S_OK)
        return nullptr;
    return icon;
}

void ListControl::SelectRows(const std::vector<LONG>& rows) {
    if (!CanBeUsed()) return;
    std::set<LONG> selected;
    for (const LONG row : rows) {
        if (!HasRow(row)) continue;
        if (!IsMultiSelect()) selected.clear();
        selected.insert(row);
    }
    if (selected == m_selected) return;
    const ComPtr<ListControl> alive(this);
    m_selected.swap(selected);
    Changed(ControlChange::Selection);
    Notify(TMK::UIX_Control_SelectionChanged);
}

void ListControl::ClickRow(LONG row) {
    SendClick(row, false);
}

void ListControl::DoubleClickRow(LONG row) {
    SendClick(row, true);
}

void ListControl::SendClick(LONG row, bool is_double) {
    if (!CanBeUsed() || !HasRow(row)) return;
    const ComPtr<ListControl> alive(this);
    if (!m_selected.contains(row)) SelectRow(row);
    const ComPtr<TMK::IUIX_ListCallbacks> callbacks = m_callbacks;
    if (callbacks) callbacks->List_OnItemClick(row, is_double ? VARIANT_TRUE : VARIANT_FALSE);
}

void ListControl::ClickHeader(LONG column, LONG button) {
    if (!CanBeUsed() || !HasColumn(column)) return;
    const ComPtr<ListControl> alive(this);
    const ComPtr<TMK::IUIX_ListCallbacks> callbacks = m_callbacks;
    if (callbacks) callbacks->List_OnHdrItemClicked(column, button);
}

void ListControl::PressNoticeButton() {
    if (!CanBeUsed() || !m_notice || m_notice->button.empty()) return;
    const ComPtr<ListControl> alive(this);
    Notify(TMK::UIX_Control_NoticeClicked);
}

}  // namespace host
