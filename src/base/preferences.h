// The user's choices: a plain record, and the manager that loads it from and saves it to the host's settings
// tree. The record changes and is saved on the main thread alone; other threads read a copy.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/base.h"

class PluginContext;

struct Preferences {
    enum Actions : uint32_t {
        show_message_box = 1,    // ask the user
        show_infobar = 2,        // show the information bar
        disable_editing_ui = 4,  // open without editing
        check_out = 8,           // check the file out, or keep it checked out
        check_in = 16,           // check the file in
        overwrite = 32,          // overwrite the server's copy
    };

    uint32_t on_open_without_write_permissions = 6;
    uint32_t on_open_checked_out_none = 6;
    uint32_t on_open_checked_out_me = 2;
    uint32_t on_open_checked_out_other = 6;
    uint32_t on_after_save = 1;
    uint32_t on_save_conflict = 1;
    uint32_t on_close_checked_out_need_check_in = 1;
    uint32_t on_close_checked_out_no_need_check_in = 0;
    uint32_t default_check_in_type = 1;  // 0 minor, 1 major, 2 overwrite
    std::u16string default_check_in_message;
    bool hide_paths = false;
    std::vector<std::u16string> hidden_paths = DefaultHiddenPaths();
    uint32_t log_level = 0;  // 0 to 4
    uint32_t days_to_store_logs = 10;
    uint32_t api_version = 0;  // 0 compatible, 1 modern
    uint32_t show_hidden_items = 0;

    static std::vector<std::u16string> DefaultHiddenPaths();
    bool operator==(const Preferences&) const = default;
};

// The preferences that hold actions, which every version has, in the order in which they are saved and shown.
struct ActionPreference {
    const char16_t* id;
    uint32_t Preferences::*field;
};
inline constexpr ActionPreference kActionPreferences[] = {
    {u"on_open_without_write_permissions", &Preferences::on_open_without_write_permissions},
    {u"on_open_checked_out_none", &Preferences::on_open_checked_out_none},
    {u"on_open_checked_out_me", &Preferences::on_open_checked_out_me},
    {u"on_open_checked_out_other", &Preferences::on_open_checked_out_other},
    {u"on_after_save", &Preferences::on_after_save},
    {u"on_save_conflict", &Preferences::on_save_conflict},
    {u"on_close_checked_out_need_check_in", &Preferences::on_close_checked_out_need_check_in},
    {u"on_close_checked_out_no_need_check_in", &Preferences::on_close_checked_out_no_need_check_in},
};

class PreferencesManager {
public:
    explicit PreferencesManager(PluginContext& plugin) : m_plugin(plugin) {}

    // Reads the newest dictionary that was ever saved; what it lacks keeps its default.
    void Load();
    // Writes the record as version 5; older dictionaries stay as they are.
    void Save();
    // Changes the record and saves it, on the main thread.
    void Change(const std::function<void(Preferences&)>& change);
    // A copy; any thread.
    Preferences Get() const;

    Preferences m_preferences;

private:
    PluginContext& m_plugin;
    mutable std::mutex m_lock;  // of the record, against copies that are being made
};
