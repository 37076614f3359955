// The user's profile folder, with its settings trees and JSON documents.
// Owned by the host instance; any thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/base/json.h"
#include "host/base/posix_file.h"
#include "host/profile/settings_tree.h"

namespace host {

// Gets one line for each problem that doesn't stop the work.
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

    // A stored tree, empty when there is none. One that can't be read is moved aside with a warning.
    std::shared_ptr<SettingsTree> LoadTree(std::string_view name) const;
    // Stores what changed in the tree, value by value, under the file's lock: what others have stored
    // meanwhile stays.
    void SaveTree(SettingsTree& tree, std::string_view name) const;

    // Whether a stored document has the structure that its reader needs.
    using IsSound = bool(const Json&);
    static bool IsObject(const Json& json) { return json.IsObject(); }

    // A stored document, null when there is none. One that isn't sound is moved aside with a warning.
    Json LoadJson(std::string_view name, IsSound* is_sound = IsObject) const;
    // Runs `change` on the document under its file's lock and stores the result.
    void UpdateJson(std::string_view name, const std::function<void(Json&)>& change,
                    IsSound* is_sound = IsObject) const;

    // Keeps other processes from changing settings of plug-ins as long as it lives. Throws a Failure.
    FileLock LockSettings() const { return Lock("settings"); }

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
