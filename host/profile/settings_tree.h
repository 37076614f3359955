// Settings trees: typed items shaped by a template, seen by plug-ins through ITMK_Cab and ITMK_CabNode.
// A tree is shared by its views and guarded by its own lock; any thread.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/object.h"
#include "host/profile/settings_template.h"

namespace host {

struct SettingNode {
    std::u16string id;
    TMK::CabType type = TMK::CabType::Unset;
    SettingValue value;
    SettingValue default_value;
    const ItemShape* element = nullptr;  // of an array: what its elements are
    std::vector<std::shared_ptr<SettingNode>> children;
};

class SettingsTree : public std::enable_shared_from_this<SettingsTree> {
public:
    SettingsTree();

    // Throws a Failure of E_INVALIDARG; the tree then stays as it was.
    void SetTemplate(std::string_view xml, std::u16string_view name);

    // The set items as one JSON object; defaults are left to the template.
    std::string ToJson() const;
    // Replaces the content. Throws a Failure of 0x8007000D for anything but a JSON object of reasonable
    // depth.
    void FromJson(std::string_view json);

    // Whether anything changed since the last call.
    bool TakeChanged();
    // The JSON text when anything changed since the last call.
    std::optional<std::string> TakeChangedJson();

    bool IsChanged() const;
    // What the file held when this tree last read or wrote it; changes are told by comparing with it.
    std::string stored() const;
    void NoteStored(std::string json);

    std::recursive_mutex& mutex() const { return m_mutex; }
    const std::shared_ptr<SettingNode>& root() const { return m_root; }
    void MarkChanged() { m_changed = true; }

    // A view for a plug-in; `on_release` runs when its last reference goes.
    ComPtr<TMK::ITMK_Cab> View(std::function<void()> on_release = {});

private:
    mutable std::recursive_mutex m_mutex;
    std::vector<std::shared_ptr<const SettingsTemplate>> m_templates;  // live nodes point into older ones too
    std::shared_ptr<SettingNode> m_root;
    bool m_changed = false;
    std::string m_stored = "{}";
};

// Short forms of calls through a tree's interfaces.
ComPtr<TMK::ITMK_CabNode> ChildOf(TMK::ITMK_Cab* tree, std::u16string_view id);
std::u16string StringOf(TMK::ITMK_CabNode* node);
void PutString(TMK::ITMK_Cab* tree, std::u16string_view id, std::u16string_view value);

}  // namespace host
