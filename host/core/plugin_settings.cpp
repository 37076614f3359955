#include "host/core/plugin_settings.h"

#include "host/base/failure.h"

namespace host {

ComPtr<TMK::ITMK_Cab> PluginSettings::Open(TMK::ITMK_Plugin* plugin, bool create) {
    const std::string file = "settings-" + ToUtf8(IdOf(plugin)) + ".json";
    const auto tree = TreeOf(file, create);
    if (!tree) return nullptr;
    return tree->View([this, tree, file] { Save(*tree, file); });
}

std::shared_ptr<SettingsTree> PluginSettings::TreeOf(const std::string& file, bool create) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_trees.find(file);
    if (found != m_trees.end()) return found->second;
    if (!create && !fs::exists(m_profile.file(file))) return nullptr;
    return m_trees[file] = m_profile.LoadTree(file);
}

void PluginSettings::Save() const {
    std::map<std::string, std::shared_ptr<SettingsTree>> trees;
    {
        const std::lock_guard lock(m_mutex);
        trees = m_trees;
    }
    for (const auto& [file, tree] : trees) Save(*tree, file);
}

void PluginSettings::ChangeForThisRun(const std::function<void()>& change) {
    Save();
    m_stores = false;
    try {
        change();
    } catch (...) {
        m_stores = true;
        throw;
    }
    const std::lock_guard lock(m_mutex);
    for (const auto& [file, tree] : m_trees) {
        if (auto json = tree->TakeChangedJson()) tree->NoteStored(std::move(*json));
    }
    m_stores = true;
}

void PluginSettings::Save(SettingsTree& tree, const std::string& file) const {
    if (!m_stores) return;
    try {
        m_profile.SaveTree(tree, file);
    } catch (const Failure& failure) {
        m_profile.warn(failure.what());
    }
}

}  // namespace host
