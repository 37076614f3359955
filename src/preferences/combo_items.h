// Combo boxes whose items stand for numbers. Main thread only.
#pragma once

#include <optional>
#include <span>

#include "base/failure.h"
#include "hostapi/iwindows.h"

namespace Ui {

struct ComboItem {
    const char16_t* text_id;  // as the host resolves it, "$$$." in front
    uint32_t value;
};

inline HRESULT FillCombo(TMK::IUIX_Combo& combo, std::span<const ComboItem> items) {
    TRACE_NAME("Ui::FillCombo");
    CHECK_RESULT(combo.Clear());
    for (const ComboItem& item : items)
        CHECK_RESULT(combo.InsertItem(-1, item.text_id, nullptr, nullptr, item.value, 0));
    return S_OK;
}

// Nothing is selected for a value that no item stands for.
inline HRESULT SelectValue(TMK::IUIX_Combo& combo, std::span<const ComboItem> items, uint32_t value) {
    LONG selected = -1;
    for (size_t i = 0; i < items.size(); ++i)
        if (items[i].value == value) selected = static_cast<LONG>(i);
    return combo.put_SelItem(selected);
}

// Nothing while no item is selected.
inline std::optional<uint32_t> SelectedValue(TMK::IUIX_Combo& combo) {
    LONG selected = -1;
    TMK::PARAM_T value = 0;
    if (FAILED(combo.get_SelItem(&selected)) || selected < 0 || FAILED(combo.GetItemParam(selected, &value)))
        return std::nullopt;
    return static_cast<uint32_t>(value);
}

}  // namespace Ui
