// The profile folder and its stores.
// Any thread.
#include "core/profile.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "core/failure.h"

namespace host {

namespace {

constexpr int kLockPatienceMs = 10000;

}  // namespace

Profile::Profile(fs::path folder, Warn warn) : m_folder(std::move(folder)), m_warn(std::move(warn)) {
    m_folder = fs::absolute(m_folder);
    MakeFolder(m_folder);
    if (access(m_folder.c_str(), R_OK | W_OK | X_OK) != 0)
        ThrowErrno("use the profile folder", m_folder, errno);
}

std::shared_ptr<SettingsTree> Profile::LoadTree(std::string_view name) const {
    auto tree = std::make_shared<SettingsTree>();
    const auto content = ReadWhole(file(name));
    if (!content) return tree;
    try {
        tree->FromJson(*content);
    } catch (const Failure& failure) {
        const fs::path aside = MoveAside(file(name));
        warn(std::string(failure.what()) + "; the file was set aside as " + aside.string());
        tree = std::make_shared<SettingsTree>();
    }
    return tree;
}

void Profile::SaveTree(SettingsTree& tree, std::string_view name) const {
    const auto json = tree.TakeChangedJson();
    if (!json) return;
    try {
        ReplaceFile(file(name), *json);
    } catch (...) {
        const std::lock_guard lock(tree.mutex());
        tree.MarkChanged();
        throw;
    }
}

void Profile::UpdateFile(std::string_view name,
                         const std::function<std::string(const std::optional<std::string>&)>& change) const {
    fs::path lock_path = file(name);
    lock_path += ".lock";
    const auto lock = FileLock::Take(lock_path, FileLock::Mode::exclusive, kLockPatienceMs);
    if (!lock) throw Failure(kInUse, file(name).string() + " is in use by another process");
    const auto content = ReadWhole(file(name));
    const std::string changed = change(content);
    if (!content || *content != changed) ReplaceFile(file(name), changed);
}

fs::path DefaultProfileFolder() {
    const auto from = [](const char* variable) {
        const char* value = std::getenv(variable);
        return fs::path(value && *value == '/' ? value : "");
    };
    if (const fs::path config = from("XDG_CONFIG_HOME"); !config.empty()) return config / "sphost";
    fs::path home = from("HOME");
    if (home.empty()) {
        const passwd* user = getpwuid(getuid());
        home = user && user->pw_dir ? user->pw_dir : "/";
    }
    return home / ".config" / "sphost";
}

}  // namespace host
