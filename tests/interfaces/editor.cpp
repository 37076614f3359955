#include "tests/interfaces/editor.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "host/base/text.h"
#include "host/cli/run/preferences.h"

namespace interfaces {

namespace {

std::vector<std::string> Strings(const rapidjson::Value& array) {
    std::vector<std::string> strings;
    for (const rapidjson::Value& item : array.GetArray()) strings.push_back(item.GetString());
    return strings;
}

ComPtr<TMK::ITMK_CabNode> ItemOf(TMK::ITMK_CabNode* dictionary, const std::u16string& id) {
    ComPtr<TMK::ITMK_CabNode> item;
    dictionary->get_Item(id.c_str(), item.put());
    return item;
}

RecordedPrompt ReadPrompt(const std::string& line) {
    rapidjson::Document json;
    json.Parse(line.c_str());
    if (!json.IsObject()) throw std::runtime_error("not a prompt: " + line);
    RecordedPrompt prompt;
    prompt.id = json["id"].GetString();
    prompt.style = json["style"].GetUint();
    prompt.text = json["text"].GetString();
    prompt.buttons = Strings(json["buttons"]);
    prompt.default_button = json["default"].GetUint();
    prompt.cancel_button = json["cancel"].GetUint();
    prompt.check = json["check"].GetString();
    prompt.radios = Strings(json["radios"]);
    prompt.radio = json["radio"].GetUint();
    prompt.edit = json["edit"].GetString();
    prompt.edit_text = json["editText"].GetString();
    prompt.pressed = json["pressed"].GetUint();
    return prompt;
}

}  // namespace

std::string Hex(HRESULT result) {
    return host::FormatResult(result);
}

ComPtr<host::CancelFlag> Canceled() {
    auto flag = host::Make<host::CancelFlag>();
    flag->Cancel();
    return flag;
}

Editor::Editor(const DevServer& server, const std::string& user, const PreferenceValues& preferences)
    : SignedInHost(PLUGIN_FILE, server.Origin(), LoginOf(server, user), [&](SignedInHost& loaded) {
          loaded.host().prompts().LogTo(m_folder / "prompts");
          for (const auto& [name, value] : preferences) cli::SetPreference(loaded.file_system(), name, value);
      }) {}

std::string Editor::TakeMessage() {
    std::string message = m_details->Text();
    m_details->Clear();
    return message;
}

Opened Editor::Open(const std::string& document, DWORD flags) {
    Opened opened;
    m_details->Clear();
    opened.result =
        file_system()->OpenFile(Name(document).get(), flags, m_details.get(), nullptr, opened.file.put());
    opened.message = TakeMessage();
    return opened;
}

HRESULT Editor::Exec(TMK::IAFS_File* file, LPCWSTR command) {
    m_details->Clear();
    return file->Exec(command, Variant(), nullptr, m_details.get(), nullptr);
}

void Editor::Answer(const std::string& id, const host::PromptAnswer& answer) {
    host().prompts().AddAnswer(id, answer);
}

std::vector<RecordedPrompt> Editor::TakePrompts() {
    std::istringstream lines(ReadText(m_folder / "prompts"));
    std::vector<RecordedPrompt> prompts;
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line); ++number)
        if (number >= m_prompts_taken) prompts.push_back(ReadPrompt(line));
    m_prompts_taken = number;
    return prompts;
}

std::string Editor::Preference(const std::string& name) {
    const auto stored = host::ChildOf(host().PluginSettings().get(), u"PreferencesV5");
    Variant version;
    cli::Preference preference = cli::FindPreference(cli::ReadPreferences(file_system()), name);
    if (ItemOf(stored.get(), u"version")->get_v(version.put()) == S_OK && version.lVal != 0)
        ItemOf(stored.get(), host::ToUtf16(name))->get_v(preference.value.put());
    return cli::TextOf(preference);
}

}  // namespace interfaces
