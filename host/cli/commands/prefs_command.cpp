// prefs: the plug-in's preferences, shown as they are in use and changed.
// The command's worker thread.
#include "host/cli/commands/commands.h"
#include "host/cli/run/json.h"
#include "host/cli/run/preferences.h"

namespace cli {

namespace {

void WriteJson(JsonText& json, const Preference& preference) {
    json.Key(preference.name.c_str());
    if (preference.value.type() == VT_I4) {
        json.Number(preference.value.lVal);
    } else if (preference.value.type() == VT_BOOL) {
        json.Bool(preference.value.boolVal != VARIANT_FALSE);
    } else {
        json.String(TextOf(preference));
    }
}

void Show(Run& run, const std::vector<Preference>& preferences) {
    JsonText json;
    std::string text;
    json.StartObject();
    for (const Preference& preference : preferences) {
        WriteJson(json, preference);
        text += preference.name + "=" + host::PlainLine(TextOf(preference)) + "\n";
    }
    json.EndObject();
    run.Out(run.options().Has("json") ? json.Take() : text);
}

}  // namespace

void Preferences(Run& run) {
    const Options& options = run.options();
    if (options.arguments.empty()) return Show(run, ReadPreferences(run.file_system()));
    const std::string& argument = options.arguments[0];
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    if (equals != std::string::npos) SetPreference(run.file_system(), name, argument.substr(equals + 1));
    Show(run, {FindPreference(ReadPreferences(run.file_system()), name)});
}

}  // namespace cli
