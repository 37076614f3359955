// The user's profile folder: where each stored thing of the host lies, and its settings and JSON stores.
// Owned by the host instance; any thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/posix_file.h"
#include "core/settings_tree.h"

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

    // Runs `change` on the content of a JSON file under that file's lock, and stores what it returns.
    void UpdateFile(std::string_view name,
                    const std::function<std::string(const std::optional<std::string>&)>& change) const;

private:
    fs::path m_folder;
    Warn m_warn;
};

// $XDG_CONFIG_HOME/sphost or ~/.config/sphost.
fs::path DefaultProfileFolder();

}  // namespace host
