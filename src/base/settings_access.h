// Typed reading and writing of the items of a host's settings tree. Null nodes read as empty and take no
// value.
#pragma once

#include <cstdint>
#include <string>

#include "hostapi/settings.h"
#include "platform/com_ptr.h"

namespace Settings {

using Node = ComPtr<TMK::ITMK_CabNode>;

Node GetRoot(TMK::ITMK_Cab* tree);
Node GetChild(TMK::ITMK_CabNode* dictionary, LPCWSTR id);  // null when there is none
int32_t GetInt(TMK::ITMK_CabNode* dictionary, LPCWSTR id);
bool GetBool(TMK::ITMK_CabNode* dictionary, LPCWSTR id);              // false unless the item is a boolean
std::u16string GetString(TMK::ITMK_CabNode* dictionary, LPCWSTR id);  // empty unless the item is a string

void SetInt(TMK::ITMK_CabNode* dictionary, LPCWSTR id, int32_t value);
void SetBool(TMK::ITMK_CabNode* dictionary, LPCWSTR id, bool value);  // booleans and unset items only
// Strings and unset items only; false when the item did not take the value.
bool SetString(TMK::ITMK_CabNode* dictionary, LPCWSTR id, const std::u16string& value);

}  // namespace Settings
