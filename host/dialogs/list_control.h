// A list: rows whose texts and pictures are asked for one by one. Rows and columns count from 0. Main thread
// only.
#pragma once

#include <optional>
#include <set>
#include <vector>

#include "host/dialogs/control.h"

namespace host {

struct ListColumn {
    std::u16string title;
    std::u16string tip;
    ComPtr<TMK::IUIX_Icon> icon;
    LONG width = 0;
    DWORD style = 0;  // UIX_ListColumnStyle
};

struct ListText {
    std::u16string text;
    DWORD draw_flags = 0;  // UIX_DrawText
};

struct ListNotice {
    std::u16string text;
    std::u16string button;  // empty for none
};

class ListControl final : public Also<Control, TMK::IUIX_List> {
public:
    using Also::Also;

    HRESULT put_Callbacks(TMK::IUIX_ListCallbacks* callbacks) override;
    HRESULT get_ColumnsCount(UINT* out_count) override;
    HRESULT InsertColumn(LONG index, LPCWSTR title, LPCWSTR tip, TMK::IUIX_Icon* icon, LONG width,
                         DWORD style) override;
    HRESULT SetColumn(LONG index, DWORD what, LPCWSTR title, LPCWSTR tip, TMK::IUIX_Icon* icon, LONG width,
                      DWORD style, DWORD style_mask, DWORD reserved) override;
    HRESULT GetColumnStyle(LONG index, DWORD* out_style) override;
    HRESULT get_ItemsCount(UINT* out_count) override;
    HRESULT InsertItem(LONG index, TMK::PARAM_T parameter, DWORD flags) override;
    HRESULT DeleteAllItems() override;
    HRESULT RedrawItems(LONG first, LONG last) override;
    HRESULT GetNextSelected(LONG start, LONG* out_index) override;
    HRESULT SelectItem(LONG index, VARIANT_BOOL select) override;
    HRESULT SetNotice(LPCWSTR text, LPCWSTR button) override;

    bool IsMultiSelect() const { return (shape().style & TMK::UIX_List_MultiSelect) != 0; }
    const std::vector<ListColumn>& columns() const { return m_columns; }
    LONG RowCount() const { return static_cast<LONG>(m_parameters.size()); }
    const std::set<LONG>& selected() const { return m_selected; }
    const std::optional<ListNotice>& notice() const { return m_notice; }
    void Detach() override;

    // Asked of the plug-in each time.
    ListText TextAt(LONG row, LONG column) const;
    ComPtr<TMK::IUIX_Icon> IconAt(LONG row, LONG column) const;  // null for none

    // By the person: the rows that are selected now; a list of single selection takes the last one.
    void SelectRows(const std::vector<LONG>& rows);
    void SelectRow(LONG row) { SelectRows({row}); }
    // A row is selected, then clicked.
    void ClickRow(LONG row);
    void DoubleClickRow(LONG row);
    void ClickHeader(LONG column, LONG button = 0);
    void PressNoticeButton();

private:
    bool HasRow(LONG row) const { return row >= 0 && row < RowCount(); }
    bool HasColumn(LONG column) const {
        return column >= 0 && static_cast<std::size_t>(column) < m_columns.size();
    }
    void SendClick(LONG row, bool is_double);

    ComPtr<TMK::IUIX_ListCallbacks> m_callbacks;
    std::vector<ListColumn> m_columns;
    std::vector<TMK::PARAM_T> m_parameters;  // a row each
    std::set<LONG> m_selected;
    std::optional<ListNotice> m_notice;
};

}  // namespace host
