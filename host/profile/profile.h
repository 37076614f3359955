// The user's profile folder: where each stored thing of the host lies, and its settings and JSON stores.
// Owned by the host instance; any thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/base/json.h"
#include "host/base/posix_file.h"
#include "host/profile/settings_tree.h"

namespace host {

// Where things that went wrong without stopping anything are told; one line each.
using Warn = std::function<void(const std::string&)>;

class Profile {
public:
    // Makes the folder (0700). Throws a Failure when it can't be made or written.
    Profile(fs::path folder, Warn warn);

    const fs::path& folder() const { return m_folder; }
    fs::path file(std::string_view name) const { return m_folder / name; }
    void warn(const std::string& line) const {
        if (m_warn) m_warn(line);
    }

    // A stored tree, empty when there is none. One that can't be read is set aside and told.
    std::shared_ptr<SettingsTree> LoadTree(std::string_view name) const;
    // Stores the tree if it changed.
    void SaveTree(SettingsTree& tree, std::string_view name) const;

    // Whether a stored document is of the shape that its reader needs.
    using IsSound = bool(const Json&);
    static bool IsObject(const Json& json) { return json.IsObject(); }

    // A stored document, null when there is none. One that isn't sound is set aside and told.
    Json LoadJson(std::string_view name, IsSound* is_sound = IsObject) const;
    // Runs `change` on the document under its file's lock, and stores what it makes of it.
    void UpdateJson(std::string_view name, const std::function<void(Json&)>& change,
                    IsSound* is_sound = IsObject) const;

private:
    FileLock Lock(std::string_view name) const;
    Json ReadJson(std::string_view name, IsSound* is_sound, bool& out_damaged) const;
    void SetAside(std::string_view name, const std::string& why) const;

    fs::path m_folder;
    Warn m_warn;
};

// $XDG_CONFIG_HOME/sphost or ~/.config/sphost.
fs::path DefaultProfileFolder();

}  // namespace host
