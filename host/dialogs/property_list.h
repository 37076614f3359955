// A list of properties: the rows that its host describes, with their values. Main thread only.
#pragma once

#include <string>
#include <vector>

#include "host/dialogs/control.h"

namespace host {

struct PropertyRow {
    UINT index = 0;  // as the list's host counts
    DWORD kind = TMK::UIX_Prop_None;
    DWORD flags = 0;
    std::u16string title;
    std::u16string description;
    std::vector<std::u16string> choices;
    UINT max_length = 0;  // 0: any
};

class PropertyListControl final : public Also<Control, TMK::IUIX_PropList> {
public:
    using Also::Also;
    HRESULT put_Host(TMK::IUIX_PropHost* host) override;

    const std::vector<PropertyRow>& rows() const { return m_rows; }  // in the order of their positions
    Variant ValueOf(const PropertyRow& row) const;
    void Detach() override;
    // By the person; the host's refusal comes back.
    HRESULT SetValue(const PropertyRow& row, const VARIANT& value);

private:
    ComPtr<TMK::IUIX_PropHost> m_host;
    std::vector<PropertyRow> m_rows;
};

}  // namespace host
