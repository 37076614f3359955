// The shape of a settings tree: a CabTemplate document, read and checked as a whole.
// A template is immutable once read and shared by the trees that it shapes; any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "hostapi/settings.h"
#include "platform/com_ptr.h"

namespace host {

using SettingValue = std::variant<std::monostate, bool, std::int32_t, std::int64_t, std::u16string,
                                  ComPtr<IUnknown>>;  // an object lives in memory alone

struct ItemSet;

struct ItemShape {
    std::u16string id;
    TMK::CabType type = TMK::CabType::Unset;
    SettingValue default_value;
    const ItemSet* set = nullptr;  // of a dictionary, and of an array with a known type of elements
};

struct ItemSet {
    std::u16string id;
    std::vector<ItemShape> items;
};

class SettingsTemplate {
public:
    // `name` is the id of the root to use. Throws a Failure of E_INVALIDARG that says what is wrong.
    static std::shared_ptr<const SettingsTemplate> Parse(std::string_view xml, std::u16string_view name);

    // The root dictionary.
    const ItemShape& root() const { return m_root; }

private:
    std::vector<std::unique_ptr<ItemSet>> m_sets;
    ItemShape m_root;
};

// The value converted to the type; monostate when it doesn't fit.
SettingValue ConvertSetting(const SettingValue& value, TMK::CabType type);

// The type that holds such a value.
TMK::CabType TypeOfSetting(const SettingValue& value);

}  // namespace host
