// The settings trees of plug-ins, kept in the profile. Owned by the host; any thread.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "host/core/plugin_id.h"
#include "host/profile/profile.h"
#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

namespace host {

class PluginSettings {
public:
    // The profile outlives it.
    explicit PluginSettings(const Profile& profile) : m_profile(profile) {}

    // A view that stores its changes when it is released; it must not outlive this. Null when there are no
    // settings and `create` is false. Throws a Failure.
    ComPtr<TMK::ITMK_Cab> Open(TMK::ITMK_Plugin* plugin, bool create);
    // Stores what changed in any tree.
    void Save() const;
    // What `change` sets is in use and never stored.
    void ChangeForThisRun(const std::function<void()>& change);

private:
    std::shared_ptr<SettingsTree> TreeOf(const std::string& file, bool create);
    void Save(SettingsTree& tree, const std::string& file) const;

    const Profile& m_profile;
    std::atomic<bool> m_stores = true;
    mutable std::mutex m_mutex;
    std::map<std::string, std::shared_ptr<SettingsTree>> m_trees;  // by file
};

}  // namespace host
