#include "base/settings_access.h"

namespace Settings {
namespace {

TMK::CabType TypeOf(TMK::ITMK_CabNode* node) {
    TMK::CabType type = TMK::CabType::Unset;
    if (node) node->get_Type(&type);
    return type;
}

bool IsTypeOrUnset(TMK::ITMK_CabNode* node, TMK::CabType type) {
    return node && (TypeOf(node) == type || TypeOf(node) == TMK::CabType::Unset);
}

}  // namespace

Node GetRoot(TMK::ITMK_Cab* tree) {
    Node root;
    if (tree) tree->get_Root(root.put());
    return root;
}

Node GetChild(TMK::ITMK_CabNode* dictionary, LPCWSTR id) {
    Node child;
    if (dictionary) dictionary->get_Item(id, child.put());
    return child;
}

int32_t GetInt(TMK::ITMK_CabNode* dictionary, LPCWSTR id) {
    const Node item = GetChild(dictionary, id);
    VARIANT value{};
    if (!item || FAILED(item->get_v(&value))) return 0;
    const int32_t number = value.vt == VT_I4   ? value.lVal
                           : value.vt == VT_I8 ? static_cast<int32_t>(value.llVal)
                                               : 0;
    VariantClear(&value);
    return number;
}

bool GetBool(TMK::ITMK_CabNode* dictionary, LPCWSTR id) {
    const Node item = GetChild(dictionary, id);
    VARIANT value{};
    if (TypeOf(item.get()) != TMK::CabType::Bool || FAILED(item->get_v(&value))) return false;
    const bool flag = value.vt == VT_BOOL && value.boolVal != VARIANT_FALSE;
    VariantClear(&value);
    return flag;
}

std::u16string GetString(TMK::ITMK_CabNode* dictionary, LPCWSTR id) {
    const Node item = GetChild(dictionary, id);
    Bstr text;
    if (TypeOf(item.get()) != TMK::CabType::String || FAILED(item->get_String(text.put()))) return {};
    return text.str();
}

void SetInt(TMK::ITMK_CabNode* dictionary, LPCWSTR id, int32_t value) {
    const Node item = GetChild(dictionary, id);
    if (item) item->put_v(Variant(LONG{value}));
}

void SetBool(TMK::ITMK_CabNode* dictionary, LPCWSTR id, bool value) {
    const Node item = GetChild(dictionary, id);
    if (IsTypeOrUnset(item.get(), TMK::CabType::Bool)) item->put_v(Variant(value));
}

bool SetString(TMK::ITMK_CabNode* dictionary, LPCWSTR id, const std::u16string& value) {
    const Node item = GetChild(dictionary, id);
    if (!IsTypeOrUnset(item.get(), TMK::CabType::String)) return false;
    VARIANT variant{};
    variant.vt = VT_BSTR;
    variant.bstrVal = SysAllocStringLen(value.data(), static_cast<UINT>(value.size()));
    const HRESULT result = variant.bstrVal ? item->put_v(variant) : E_OUTOFMEMORY;
    VariantClear(&variant);
    return SUCCEEDED(result);
}

}  // namespace Settings
