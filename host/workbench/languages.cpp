#include "host/workbench/languages.h"

#include <algorithm>
#include <cstdlib>

#include "host/base/failure.h"
#include "host/workbench/workbench.h"

namespace host {

Languages::Languages(Catalogue& catalogue, Workbench& workbench)
    : m_catalogue(catalogue), m_workbench(workbench), m_all{{"en", "English", {}}}, m_current("en") {}

void Languages::AddFolder(const fs::path& folder) {
    std::error_code error;
    for (const auto& file : fs::directory_iterator(folder, error)) {
        const std::string code = file.path().stem().string();
        if (file.path().extension() != ".xml" || Find(code)) continue;
        const std::string name = NameOfLanguage(ReadWhole(file.path()).value_or(""));
        if (!name.empty()) m_all.push_back({code, name, file.path()});
    }
    std::sort(m_all.begin() + 1, m_all.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
}

const Language* Languages::Find(std::string_view code) const {
    const auto found = std::find_if(m_all.begin(), m_all.end(),
                                    [&](const Language& language) { return language.code == code; });
    return found == m_all.end() ? nullptr : &*found;
}

void Languages::Use(std::string_view code) {
    const Language* const language = Find(code);
    if (!language) {
        std::string known;
        for (const Language& other : m_all) known += (known.empty() ? "" : ", ") + other.code;
        throw Failure(E_INVALIDARG, "there is no language '" + std::string(code) + "'; choose of " + known);
    }
    m_catalogue.UseLanguage(language->file.empty() ? "" : ReadWhole(language->file).value_or(""));
    m_current = language->code;
    m_workbench.ChangedLanguage();
}

std::string LanguageOfSystem() {
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* const value = std::getenv(name);
        if (!value || !*value) continue;
        const std::string_view text = value;
        const std::string_view code = text.substr(0, text.find_first_of("_.@"));
        return code.size() == 2 ? std::string(code) : "en";
    }
    return "en";
}

}  // namespace host
