#include "host/cli/run/preferences.h"

#include <algorithm>
#include <charconv>

#include "host/base/failure.h"
#include "host/base/variants.h"
#include "host/cli/run/options.h"

namespace cli {

namespace {

// The text as a value of the preference's kind.
Variant ParseValue(const Preference& preference, const std::string& text) {
    const auto refuse = [&](const std::string& wanted) {
        throw UsageError(preference.name + " takes " + wanted + ", not '" + host::PlainLine(text) + "'");
    };
    if (preference.value.type() == VT_BSTR) return Variant(std::u16string_view(host::ToUtf16(text)));
    if (preference.value.type() == VT_BOOL) {
        if (text != "true" && text != "false" && text != "1" && text != "0") refuse("true or false");
        return Variant(text == "true" || text == "1");
    }
    LONG number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = error == std::errc{} && end == text.data() + text.size();
    if (!is_number || number < 0 || number > preference.largest)
        refuse("a number from 0 to " + std::to_string(preference.largest));
    return Variant(number);
}

}  // namespace

std::string TextOf(const Preference& preference) {
    const VARIANT& value = preference.value.get();
    if (value.vt == VT_BOOL) return value.boolVal != VARIANT_FALSE ? "true" : "false";
    if (value.vt == VT_I4) return std::to_string(value.lVal);
    return value.vt == VT_BSTR ? host::ToUtf8(host::FromWide(value.bstrVal)) : "";
}

std::vector<Preference> ReadPreferences(TMK::IAFS_FileSys* file_system) {
    Variant value;
    const HRESULT result = file_system->get_Prop(nullptr, u"Preferences", value.put());
    const std::vector<Variant> elements = host::ElementsOf(value);
    if (FAILED(result) || elements.empty() || elements.size() % 3 != 0)
        throw host::Failure(E_FAIL, "the plug-in has no preferences");
    std::vector<Preference> preferences;
    for (std::size_t i = 0; i < elements.size(); i += 3) {
        const Variant& name = elements[i];
        const Variant& largest = elements[i + 2];
        if (name.type() != VT_BSTR || largest.type() != VT_I4)
            throw host::Failure(E_UNEXPECTED, "the plug-in's preferences can't be read");
        preferences.push_back({host::ToUtf8(host::FromWide(name.bstrVal)), elements[i + 1], largest.lVal});
    }
    return preferences;
}

Preference FindPreference(const std::vector<Preference>& preferences, const std::string& name) {
    const auto found = std::find_if(preferences.begin(), preferences.end(),
                                    [&](const Preference& preference) { return preference.name == name; });
    if (found == preferences.end())
        throw UsageError("there is no preference '" + host::PlainLine(name) + "'");
    return *found;
}

void SetPreference(TMK::IAFS_FileSys* file_system, const std::string& name, const std::string& text) {
    const Preference preference = FindPreference(ReadPreferences(file_system), name);
    const Variant change =
        host::ArrayOf({Variant(std::u16string_view(host::ToUtf16(name))), ParseValue(preference, text)});
    const HRESULT result =
        file_system->Exec(nullptr, u"SetPreference", change.get(), nullptr, nullptr, nullptr);
    if (FAILED(result)) throw host::Failure(result, "the plug-in refuses the value of " + name);
}

}  // namespace cli
