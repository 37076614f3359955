#include "host/dialogs/property_list.h"

#include "host/base/give.h"

namespace host {

namespace {

PropertyRow Describe(UINT index, TMK::IUIX_PropInfo& info) {
    PropertyRow row;
    row.index = index;
    info.get_Kind(&row.kind);
    info.get_Flags(&row.flags);
    Bstr text;
    if (SUCCEEDED(info.get_Title(text.put()))) row.title = text.str();
    if (SUCCEEDED(info.get_Description(text.put()))) row.description = text.str();
    info.get_MaxLength(&row.max_length);
    UINT choices = 0;
    info.get_ChoicesCount(&choices);
    for (UINT i = 0; i < choices; ++i) {
        TMK::PARAM_T parameter = 0;
        if (SUCCEEDED(info.GetChoice(i, text.put(), &parameter))) row.choices.push_back(text.str());
    }
    return row;
}

std::vector<PropertyRow> Describe(TMK::IUIX_PropHost& host) {
    std::vector<PropertyRow> rows;
    UINT count = 0;
    host.get_Count(&count);
    for (UINT position = 0; position < count; ++position) {
        UINT index = 0;
        ComPtr<TMK::IUIX_PropInfo> info;
        if (SUCCEEDED(host.PositionToIndex(position, &index)) && SUCCEEDED(host.GetInfo(index, info.put())) &&
            info) {
            rows.push_back(Describe(index, *info));
        }
    }
    return rows;
}

}  // namespace

HRESULT PropertyListControl::put_Host(TMK::IUIX_PropHost* host) {
    return Guarded([&] {
        m_host = ComPtr<TMK::IUIX_PropHost>(host);
        m_rows = host ? Describe(*host) : std::vector<PropertyRow>();
        Changed(ControlChange::Items);
        return S_OK;
    });
}

Variant PropertyListControl::ValueOf(const PropertyRow& row) const {
    const ComPtr<TMK::IUIX_PropHost> host = m_host;
    Variant value;
    if (host) host->GetValue(row.index, value.put());
    return value;
}

void PropertyListControl::Detach() {
    Control::Detach();
    m_host.reset();
}

HRESULT PropertyListControl::SetValue(const PropertyRow& row, const VARIANT& value) {
    const ComPtr<TMK::IUIX_PropHost> host = m_host;
    if (!host || !CanBeUsed() || row.kind == TMK::UIX_Prop_None) return S_FALSE;
    const ComPtr<PropertyListControl> alive(this);
    const HRESULT result = host->SetValue(row.index, &value);
    Changed(ControlChange::Rows);
    return result;
}

}  // namespace host
