#include "host/profile/settings_template.h"

#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <map>
#include <optional>
#include <pugixml.hpp>
#include <set>

#include "host/base/failure.h"

namespace host {

using TMK::CabType;

namespace {

constexpr std::size_t kMaxDocument = 4u << 20;
constexpr std::size_t kMaxItems = 20000;  // of a freshly made tree
constexpr std::size_t kMaxSets = 1000;
constexpr std::size_t kMaxDepth = 32;

[[noreturn]] void Refuse(const std::string& why) {
    throw Failure(E_INVALIDARG, "bad settings template: " + why);
}

std::optional<CabType> TypeOfName(std::string_view name) {
    static constexpr std::array<std::pair<std::string_view, CabType>, 7> kTypes{{
        {"Bool", CabType::Bool},
        {"Int", CabType::Int},
        {"Int64", CabType::Int64},
        {"String", CabType::String},
        {"Dictionary", CabType::Dictionary},
        {"Array", CabType::Array},
        {"IUnknown", CabType::Object},
    }};
    for (const auto& [text, type] : kTypes) {
        if (text == name) return type;
    }
    return std::nullopt;
}

template <class Number>
SettingValue ParseNumber(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return {};
    return number;
}

SettingValue ParseDefault(std::string_view text, CabType type) {
    switch (type) {
        case CabType::Bool:
            if (text == "true" || text == "1") return true;
            if (text == "false" || text == "0") return false;
            return {};
        case CabType::Int:
            return ParseNumber<std::int32_t>(text);
        case CabType::Int64:
            return ParseNumber<std::int64_t>(text);
        case CabType::String:
            return ToUtf16(text);
        default:
            return {};
    }
}

ItemShape ReadItem(const pugi::xml_node& node, const std::map<std::string, ItemSet*>& sets) {
    ItemShape shape;
    shape.id = ToUtf16(node.attribute("id").value());
    const std::string id = node.attribute("id").value();
    const auto type = TypeOfName(node.attribute("type").value());
    if (!type) Refuse("item '" + id + "' has the unknown type '" + node.attribute("type").value() + "'");
    shape.type = *type;
    if (const auto set = node.attribute("itemSet")) {
        if (shape.type != CabType::Dictionary && shape.type != CabType::Array) {
            Refuse("item '" + id + "' can't have an item set");
        }
        const auto found = sets.find(set.value());
        if (found == sets.end()) Refuse("item '" + id + "' names the unknown set '" + set.value() + "'");
        shape.set = found->second;
    } else if (shape.type == CabType::Dictionary) {
        Refuse("dictionary '" + id + "' names no set");
    }
    if (const auto value = node.attribute("defVal")) {
        shape.default_value = ParseDefault(value.value(), shape.type);
        if (shape.default_value.index() == 0)
            Refuse("item '" + id + "' has a default that isn't of its type");
    }
    return shape;
}

// Counts the items of a freshly made tree; dictionaries that hold themselves end at the depth limit.
void CountItems(const ItemSet& set, std::size_t depth, std::size_t& count) {
    if (depth > kMaxDepth) Refuse("dictionaries are nested too deep, or in a circle");
    for (const ItemShape& item : set.items) {
        if (++count > kMaxItems) Refuse("it makes too many items");
        if (item.type == CabType::Dictionary) CountItems(*item.set, depth + 1, count);
    }
}

}  // namespace

std::shared_ptr<const SettingsTemplate> SettingsTemplate::Parse(std::string_view xml,
                                                                std::u16string_view name) {
    if (xml.size() > kMaxDocument) Refuse("it is too large");
    pugi::xml_document document;
    const auto parsed =
        document.load_buffer(xml.data(), xml.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!parsed) Refuse(std::string("it is no XML: ") + parsed.description());
    const pugi::xml_node root = document.child("CabTemplate");
    if (!root) Refuse("it has no CabTemplate element");

    auto made = std::make_shared<SettingsTemplate>();
    std::map<std::string, ItemSet*> sets;
    for (const auto& node : root.children("ItemSet")) {
        const std::string id = node.attribute("id").value();
        if (id.empty()) Refuse("an item set has no id");
        if (sets.size() >= kMaxSets) Refuse("it has too many item sets");
        auto set = std::make_unique<ItemSet>();
        set->id = ToUtf16(id);
        if (!sets.emplace(id, set.get()).second) Refuse("the set '" + id + "' appears twice");
        made->m_sets.push_back(std::move(set));
    }
    std::size_t items = 0;
    for (const auto& node : root.children("ItemSet")) {
        ItemSet& set = *sets[node.attribute("id").value()];
        std::set<std::u16string> ids;
        for (const auto& item : node.children("Item")) {
            if (++items > kMaxItems) Refuse("it has too many items");
            ItemShape shape = ReadItem(item, sets);
            if (!ids.insert(shape.id).second)
                Refuse("item '" + ToUtf8(shape.id) + "' appears twice in its set");
            set.items.push_back(std::move(shape));
        }
    }
    for (const auto& set : made->m_sets) {
        std::size_t count = 0;
        CountItems(*set, 0, count);
    }
    for (const auto& node : root.children("Root")) {
        if (ToUtf16(node.attribute("id").value()) != name) continue;
        const auto found = sets.find(node.attribute("itemSet").value());
        if (found == sets.end()) Refuse("the root names an unknown set");
        made->m_root = {std::u16string(name), CabType::Dictionary, {}, found->second};
        return made;
    }
    Refuse("it has no root '" + ToUtf8(name) + "'");
}

SettingValue ConvertSetting(const SettingValue& value, CabType type) {
    const auto as_number = [&]() -> std::optional<std::int64_t> {
        if (const auto* flag = std::get_if<bool>(&value)) return *flag ? 1 : 0;
        if (const auto* number = std::get_if<std::int32_t>(&value)) return *number;
        if (const auto* number = std::get_if<std::int64_t>(&value)) return *number;
        return std::nullopt;
    };
    const auto number = as_number();
    switch (type) {
        case CabType::Bool:
            return number ? SettingValue(*number != 0) : SettingValue();
        case CabType::Int:
            if (!number || *number < std::numeric_limits<std::int32_t>::min() ||
                *number > std::numeric_limits<std::int32_t>::max()) {
                return {};
            }
            return static_cast<std::int32_t>(*number);
        case CabType::Int64:
            return number ? SettingValue(*number) : SettingValue();
        case CabType::String:
            return std::holds_alternative<std::u16string>(value) ? value : SettingValue();
        case CabType::Object:
            return std::holds_alternative<ComPtr<IUnknown>>(value) ? value : SettingValue();
        case CabType::Unset:
            return value;
        default:
            return {};
    }
}

CabType TypeOfSetting(const SettingValue& value) {
    static constexpr std::array kTypes{CabType::Unset, CabType::Bool,   CabType::Int,
                                       CabType::Int64, CabType::String, CabType::Object};
    return kTypes[value.index()];
}

}  // namespace host
