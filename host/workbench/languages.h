// The languages of texts: English, and the packs of a folder, each a Localization document CODE.xml. Owned by
// the host; main thread only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/base/posix_file.h"
#include "host/prompts/catalogue.h"

namespace host {

class Workbench;

struct Language {
    std::string code;  // "de"
    std::string name;  // "Deutsch"
    fs::path file;     // empty for English, which needs none
};

class Languages {
public:
    // Both outlive it.
    Languages(Catalogue& catalogue, Workbench& workbench);

    // Takes up the packs of a folder, if there is one; what is no pack is left out.
    void AddFolder(const fs::path& folder);
    const std::vector<Language>& all() const { return m_all; }  // English first
    const std::string& current() const { return m_current; }
    const Language* Find(std::string_view code) const;  // null for none
    // From now on texts are in this language, and plug-ins and the window hear of it. Throws a Failure when
    // there is no such language or its pack can't be read.
    void Use(std::string_view code);

private:
    Catalogue& m_catalogue;
    Workbench& m_workbench;
    std::vector<Language> m_all;
    std::string m_current;
};

// The code of the language that the environment asks for: "de" for LANG=de_AT.UTF-8, "en" for C.
std::string LanguageOfSystem();

}  // namespace host
