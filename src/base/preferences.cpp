#include "base/preferences.h"

#include "base/failure.h"
#include "base/plugin_context.h"
#include "base/settings_access.h"
#include "base/text/split.h"
#include "base/url.h"

namespace {

constexpr int32_t kVersion = 5;
constexpr char16_t kSeparator = u'|';

uint32_t GetNumber(const Settings::Node& dictionary, const char16_t* id) {
    return static_cast<uint32_t>(Settings::GetInt(dictionary.get(), id));
}

// A value at or above `limit` keeps the default.
void LoadBounded(const Settings::Node& dictionary, const char16_t* id, uint32_t limit, uint32_t& field) {
    if (const uint32_t value = GetNumber(dictionary, id); value < limit) field = value;
}

void LoadHiddenPaths(const Settings::Node& dictionary, Preferences& preferences) {
    preferences.hide_paths = Settings::GetBool(dictionary.get(), u"hide_paths");
    preferences.hidden_paths =
        SplitString(Settings::GetString(dictionary.get(), u"hidden_paths"), kSeparator);
}

void LoadCheckInDefaults(const Settings::Node& dictionary, Preferences& preferences) {
    LoadBounded(dictionary, u"default_check_in_type", 3, preferences.default_check_in_type);
    preferences.default_check_in_message = Settings::GetString(dictionary.get(), u"default_check_in_message");
}

void LoadActions(const Settings::Node& dictionary, Preferences& preferences) {
    for (const ActionPreference& action : kActionPreferences)
        preferences.*action.field = GetNumber(dictionary, action.id);
    preferences.days_to_store_logs = GetNumber(dictionary, u"days_to_store_logs");
}

// The newest dictionary that was saved; its version tells which groups of items it has.
struct Stored {
    Settings::Node dictionary;
    int32_t version;
};

Stored FindNewest(TMK::ITMK_CabNode* root) {
    int32_t version = Settings::GetInt(Settings::GetChild(root, u"PreferencesV5").get(), u"version");
    if (version >= 5) return {Settings::GetChild(root, u"PreferencesV5"), 5};
    Settings::Node v4 = Settings::GetChild(root, u"PreferencesV4");
    if (Settings::GetInt(v4.get(), u"version") == 4 || version == 4) return {v4, 4};
    Settings::Node v3 = Settings::GetChild(root, u"PreferencesV3");
    if (Settings::GetInt(v3.get(), u"version") == 3 || version == 3) return {v3, 3};
    Settings::Node v2 = Settings::GetChild(root, u"PreferencesV2");
    if (!Settings::GetBool(v2.get(), u"default")) return {v2, 2};
    return {Settings::GetChild(root, u"PreferencesV1"), 1};
}

ComPtr<TMK::ITMK_Cab> GetTree(PluginContext& plugin, const char* trace_function) {
    ComPtr<TMK::ITMK_Cab> settings;
    const HRESULT result = plugin.m_tmk_inst
                               ? plugin.m_tmk_inst->GetPluginSettings(&plugin, VARIANT_TRUE, settings.put())
                               : E_FAIL;
    if (FAILED(result)) {
        Failure::LogReturn(trace_function,
                           u"m_tmk_inst->GetPluginSettings(m_plugin, VARIANT_TRUE, &settings)", result);
    } else if (!settings) {
        Failure::LogReturn(trace_function, u"!settings.IsNull()", E_FAIL);
    }
    return SUCCEEDED(result) ? settings : ComPtr<TMK::ITMK_Cab>();
}

}  // namespace

std::vector<std::u16string> Preferences::DefaultHiddenPaths() {
    return {u"_catalogs",
            u"_cts",
            u"_private",
            u"Access Requests",
            u"FormServerTemplates",
            u"images",
            u"IWConvertedForms",
            u"m",
            u"ProjectPolicyItemList",
            u"Sharing Links",
            u"SiteAssets",
            u"SitePages",
            u"Style Library",
            u"/Documents/Forms",
            u"/Documents/m",
            u"blog.xsl",
            u"default.aspx",
            u"*/AllItems.aspx",
            u"*/default.aspx",
            u"*/DispForm.aspx",
            u"*/EditForm.aspx",
            u"*/newsfeed.aspx",
            u"*/NewForm.aspx",
            u"*/blog.xsl"};
}

void PreferencesManager::Load() {
    TRACE_ENTRY("PreferencesManager::Load");
    const ComPtr<TMK::ITMK_Cab> settings = GetTree(m_plugin, trace_function);
    if (!settings) return;
    const std::lock_guard lock(m_lock);
    m_preferences = Preferences();
    const Settings::Node root = Settings::GetRoot(settings.get());
    const auto [dictionary, version] = FindNewest(root.get());
    if (version >= 5) {
        m_preferences.api_version = GetNumber(dictionary, u"api_version");
        m_preferences.show_hidden_items = Settings::GetBool(dictionary.get(), u"show_hidden_items") ? 1 : 0;
    }
    if (version >= 4) LoadHiddenPaths(dictionary, m_preferences);
    if (version >= 3) LoadCheckInDefaults(dictionary, m_preferences);
    if (version >= 2) LoadBounded(dictionary, u"log_level", 5, m_preferences.log_level);
    LoadActions(dictionary, m_preferences);
    TRACE_EXIT(u"");
}

void PreferencesManager::Change(const std::function<void(Preferences&)>& change) {
    {
        const std::lock_guard lock(m_lock);
        change(m_preferences);
    }
    Save();
}

Preferences PreferencesManager::Get() const {
    const std::lock_guard lock(m_lock);
    return m_preferences;
}

void PreferencesManager::Save() {
    TRACE_ENTRY("PreferencesManager::Save");
    const ComPtr<TMK::ITMK_Cab> settings = GetTree(m_plugin, trace_function);
    if (!settings) return;
    const Settings::Node stored =
        Settings::GetChild(Settings::GetRoot(settings.get()).get(), u"PreferencesV5");
    TMK::ITMK_CabNode* const v5 = stored.get();
    Settings::SetInt(v5, u"version", kVersion);
    for (const ActionPreference& action : kActionPreferences)
        Settings::SetInt(v5, action.id, static_cast<int32_t>(m_preferences.*action.field));
    Settings::SetInt(v5, u"default_check_in_type", static_cast<int32_t>(m_preferences.default_check_in_type));
    Settings::SetString(v5, u"default_check_in_message", m_preferences.default_check_in_message);
    Settings::SetInt(v5, u"log_level", static_cast<int32_t>(m_preferences.log_level));
    Settings::SetInt(v5, u"days_to_store_logs", static_cast<int32_t>(m_preferences.days_to_store_logs));
    Settings::SetBool(v5, u"hide_paths", m_preferences.hide_paths);
    std::vector<std::u16string> paths = m_preferences.hidden_paths;
    Settings::SetString(v5, u"hidden_paths", JoinStrings(paths, kSeparator));
    Settings::SetInt(v5, u"api_version", static_cast<int32_t>(m_preferences.api_version));
    Settings::SetBool(v5, u"show_hidden_items", m_preferences.show_hidden_items != 0);
    TRACE_EXIT(u"");
}
