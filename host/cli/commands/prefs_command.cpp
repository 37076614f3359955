// prefs: the plug-in's preferences, read and changed through its settings tree.
// The command's worker thread; --log-level uses it on the main thread.
#include <array>
#include <charconv>

#include "host/cli/commands/commands.h"
#include "host/cli/json.h"

namespace cli {

namespace {

enum class Kind { number, flag, text };

struct Preference {
    const char16_t* id;
    Kind kind;
    int newest_without;         // dictionaries up to this version don't have it
    const char16_t* otherwise;  // what such a one means
    LONG largest = INT32_MAX;   // of a number; the plug-in takes a larger one for its default
};

constexpr const char16_t* kHiddenPaths =
    u"_catalogs|_cts|_private|Access "
    u"Requests|FormServerTemplates|images|IWConvertedForms|m|ProjectPolicyItemList|"
    u"Sharing Links|SiteAssets|SitePages|Style Library|/Documents/Forms|/Documents/m|blog.xsl|default.aspx|"
    u"*/AllItems.aspx|*/default.aspx|*/DispForm.aspx|*/EditForm.aspx|*/newsfeed.aspx|*/NewForm.aspx|*/"
    u"blog.xsl";

constexpr int kNewest = 5;

constexpr std::array kPreferences{
    Preference{u"on_open_without_write_permissions", Kind::number, 0, u""},
    Preference{u"on_open_checked_out_none", Kind::number, 0, u""},
    Preference{u"on_open_checked_out_me", Kind::number, 0, u""},
    Preference{u"on_open_checked_out_other", Kind::number, 0, u""},
    Preference{u"on_after_save", Kind::number, 0, u""},
    Preference{u"on_save_conflict", Kind::number, 0, u""},
    Preference{u"on_close_checked_out_need_check_in", Kind::number, 0, u""},
    Preference{u"on_close_checked_out_no_need_check_in", Kind::number, 0, u""},
    Preference{u"days_to_store_logs", Kind::number, 0, u""},
    Preference{u"log_level", Kind::number, 1, u"0", 4},
    Preference{u"default_check_in_type", Kind::number, 2, u"1", 2},
    Preference{u"default_check_in_message", Kind::text, 2, u""},
    Preference{u"hide_paths", Kind::flag, 3, u"false"},
    Preference{u"hidden_paths", Kind::text, 3, kHiddenPaths},
    Preference{u"api_version", Kind::number, 4, u"0", 1},
    Preference{u"show_hidden_items", Kind::flag, 4, u"false"},
};

const Preference& FindPreference(const std::string& name) {
    for (const Preference& preference : kPreferences) {
        if (host::ToUtf8(preference.id) == name) return preference;
    }
    throw UsageError("there is no preference '" + host::PlainLine(name) + "'");
}

using Node = ComPtr<TMK::ITMK_CabNode>;

Node Item(TMK::ITMK_CabNode* dictionary, const char16_t* id) {
    Node item;
    if (dictionary) dictionary->get_Item(id, item.put());
    return item;
}

std::string TextOf(TMK::ITMK_CabNode* item) {
    Variant value;
    if (!item || FAILED(item->get_v(value.put()))) return {};
    switch (value.type()) {
        case VT_BOOL:
            return value.get().boolVal != VARIANT_FALSE ? "true" : "false";
        case VT_I4:
            return std::to_string(value.get().lVal);
        case VT_I8:
            return std::to_string(value.get().llVal);
        case VT_BSTR:
            return host::ToUtf8(host::StringOf(item));
        default:
            return {};
    }
}

Node Dictionary(TMK::ITMK_Cab* settings, int version) {
    return host::ChildOf(settings, u"PreferencesV" + host::ToUtf16(std::to_string(version)));
}

int VersionOf(TMK::ITMK_CabNode* dictionary) {
    const std::string text = TextOf(Item(dictionary, u"version").get());
    return text.empty() ? 0 : std::atoi(text.c_str());
}

// The dictionary that the plug-in reads: the newest one that was ever saved.
int EffectiveVersion(TMK::ITMK_Cab* settings) {
    if (VersionOf(Dictionary(settings, 5).get()) >= 5) return 5;
    if (VersionOf(Dictionary(settings, 4).get()) >= 4) return 4;
    if (VersionOf(Dictionary(settings, 3).get()) >= 3) return 3;
    return TextOf(Item(Dictionary(settings, 2).get(), u"default").get()) == "false" ? 2 : 1;
}

std::string Read(TMK::ITMK_Cab* settings, const Preference& preference) {
    const int version = EffectiveVersion(settings);
    if (version <= preference.newest_without) return host::ToUtf8(preference.otherwise);
    const std::string text = TextOf(Item(Dictionary(settings, version).get(), preference.id).get());
    if (!text.empty()) return text;
    return preference.kind == Kind::text ? "" : preference.kind == Kind::flag ? "false" : "0";
}

void Write(TMK::ITMK_CabNode* dictionary, const Preference& preference, const std::string& text) {
    const auto refuse = [&](const char* wanted) {
        throw UsageError(host::ToUtf8(preference.id) + " takes " + wanted + ", not '" +
                         host::PlainLine(text) + "'");
    };
    Variant value;
    if (preference.kind == Kind::text) {
        value = Variant(std::u16string_view(host::ToUtf16(text)));
    } else if (preference.kind == Kind::flag) {
        if (text != "true" && text != "false" && text != "1" && text != "0") refuse("true or false");
        value = Variant(text == "true" || text == "1");
    } else {
        LONG number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        const bool fits = error == std::errc{} && end == text.data() + text.size();
        const std::string range = "a number from 0 to " + std::to_string(preference.largest);
        if (!fits || number < 0 || number > preference.largest) refuse(range.c_str());
        value = Variant(number);
    }
    const Node item = Item(dictionary, preference.id);
    const HRESULT result = item ? item->put_v(value.get()) : E_INVALIDARG;
    if (FAILED(result)) throw host::Failure(result, "the settings can't take " + host::ToUtf8(preference.id));
}

std::string Shown(const Preference& preference, const std::string& value) {
    return host::ToUtf8(preference.id) + "=" + host::PlainLine(value) + "\n";
}

void WriteJson(JsonText& json, const Preference& preference, const std::string& value) {
    json.Key(host::ToUtf8(preference.id).c_str());
    if (preference.kind == Kind::number) {
        json.Number(std::atoi(value.c_str()));
    } else if (preference.kind == Kind::flag) {
        json.Bool(value == "true");
    } else {
        json.String(value);
    }
}

}  // namespace

std::string ReadPreference(TMK::ITMK_Cab* settings, const std::string& name) {
    return Read(settings, FindPreference(name));
}

void SetPreference(TMK::ITMK_Cab* settings, const std::string& name, const std::string& value) {
    const Preference& wanted = FindPreference(name);
    const Node newest = Dictionary(settings, kNewest);
    if (!newest) throw host::Failure(E_FAIL, "the plug-in has no preferences");
    if (EffectiveVersion(settings) < kNewest) {
        for (const Preference& preference : kPreferences)
            Write(newest.get(), preference, Read(settings, preference));
    }
    Write(newest.get(), wanted, value);
    const Node version = Item(newest.get(), u"version");
    if (version) version->put_v(Variant(static_cast<LONG>(kNewest)).get());
}

void Preferences(Run& run) {
    const Options& options = run.options();
    const auto settings = run.host().PluginSettings();
    if (!settings) run.Fail(E_FAIL, "prefs", "the plug-in has no settings");
    const std::string argument = options.arguments.empty() ? "" : options.arguments[0];
    const std::size_t equals = argument.find('=');
    if (equals != std::string::npos) {
        SetPreference(settings.get(), argument.substr(0, equals), argument.substr(equals + 1));
    }
    JsonText json;
    std::string text;
    json.StartObject();
    const auto show = [&](const Preference& preference) {
        const std::string value = Read(settings.get(), preference);
        WriteJson(json, preference, value);
        text += Shown(preference, value);
    };
    if (argument.empty()) {
        for (const Preference& preference : kPreferences) show(preference);
    } else {
        show(FindPreference(argument.substr(0, equals)));
    }
    json.EndObject();
    run.Out(options.Has("json") ? json.Take() : text);
}

}  // namespace cli
