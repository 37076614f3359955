#include "host/profile/profile.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "host/base/failure.h"

namespace host {

namespace {

constexpr int kLockTimeoutMs = 10000;

// Brings the differences between `before` and `after` into `stored`, which others may have changed meanwhile.
void TakeOver(rapidjson::Value& stored, const rapidjson::Value& before, const rapidjson::Value& after,
              Json::AllocatorType& memory) {
    for (const auto& member : before.GetObject())
        if (!after.HasMember(member.name)) stored.RemoveMember(member.name);
    for (const auto& member : after.GetObject()) {
        const auto old = before.FindMember(member.name);
        if (old != before.MemberEnd() && old->value == member.value) continue;
        const auto there = stored.FindMember(member.name);
        if (there == stored.MemberEnd()) {
            stored.AddMember(rapidjson::Value(member.name, memory), rapidjson::Value(member.value, memory),
                             memory);
        } else if (there->value.IsObject() && member.value.IsObject() && old != before.MemberEnd() &&
                   old->value.IsObject()) {
            TakeOver(there->value, old->value, member.value, memory);
        } else {
            there->value.CopyFrom(member.value, memory);
        }
    }
}

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
        tree->NoteStored(*content);
    } catch (const Failure& failure) {
        SetAside(name, failure.what());
        tree = std::make_shared<SettingsTree>();
    }
    return tree;
}

void Profile::SaveTree(SettingsTree& tree, std::string_view name) const {
    if (!tree.IsChanged()) return;
    const FileLock lock = Lock(name);
    const auto json = tree.TakeChangedJson();
    if (!json) return;
    try {
        bool damaged = false;
        Json stored = ReadJson(name, IsObject, damaged);
        if (damaged) SetAside(name, file(name).string() + " is damaged");
        if (!stored.IsObject()) stored.SetObject();
        TakeOver(stored, ParseJsonObject(tree.stored()), ParseJsonObject(*json), stored.GetAllocator());
        ReplaceFile(file(name), PrettyText(stored));
        tree.NoteStored(*json);
    } catch (...) {
        const std::lock_guard guard(tree.mutex());
        tree.MarkChanged();
        throw;
    }
}

FileLock Profile::Lock(std::string_view name) const {
    fs::path path = file(name);
    path += ".lock";
    auto lock = FileLock::Take(path, FileLock::Mode::exclusive, kLockTimeoutMs);
    if (!lock) throw Failure(kInUse, file(name).string() + " is in use by another process");
    return std::move(*lock);
}

void Profile::SetAside(std::string_view name, const std::string& why) const {
    const fs::path aside = MoveAside(file(name));
    warn(why + "; the file was set aside as " + aside.string());
}

Json Profile::ReadJson(std::string_view name, IsSound* is_sound, bool& out_damaged) const {
    const auto content = ReadWhole(file(name));
    std::optional<Json> json = content ? ParseJson(*content) : std::nullopt;
    out_damaged = content && !(json && is_sound(*json));
    return json && !out_damaged ? std::move(*json) : Json();
}

Json Profile::LoadJson(std::string_view name, IsSound* is_sound) const {
    bool damaged = false;
    Json json = ReadJson(name, is_sound, damaged);
    if (!damaged) return json;
    const FileLock lock = Lock(name);
    json = ReadJson(name, is_sound, damaged);  // another process may have repaired it
    if (damaged) SetAside(name, file(name).string() + " is damaged");
    return json;
}

void Profile::UpdateJson(std::string_view name, const std::function<void(Json&)>& change,
                         IsSound* is_sound) const {
    const FileLock lock = Lock(name);
    bool damaged = false;
    Json json = ReadJson(name, is_sound, damaged);
    if (damaged) SetAside(name, file(name).string() + " is damaged");
    const std::string before = json.IsNull() ? std::string() : PrettyText(json);
    change(json);
    const std::string after = PrettyText(json);
    if (after != before) ReplaceFile(file(name), after);
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
