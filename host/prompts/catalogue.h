// The host's strings: its own, and those of the catalogues that plug-ins hand it.
// Owned by the host instance; any thread.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base.h"

namespace host {

class Catalogue {
public:
    Catalogue();
    // Adds the texts of a Localization document under their modules' namespaces; later texts replace earlier
    // ones. Throws a Failure of E_INVALIDARG.
    void Load(std::string_view xml);
    // Texts of one language, which stand in for those of every catalogue; they replace another language's.
    // An empty document ends it. Throws a Failure of E_INVALIDARG.
    void UseLanguage(std::string_view xml);
    // "sp.msg.x", "btn.ok", each with or without "$$$." in front.
    std::optional<std::u16string> Find(std::u16string_view id) const;
    // A text beginning with "$$$." resolved, any other as it stands; an unknown id stands for itself.
    std::u16string Resolve(std::u16string_view text) const;

private:
    using Texts = std::map<std::u16string, std::u16string, std::less<>>;
    static Texts Read(std::string_view xml);

    mutable std::mutex m_mutex;
    Texts m_texts;
    Texts m_translations;
};

// What a language calls itself in its document; empty when that is none.
std::string NameOfLanguage(std::string_view xml);

}  // namespace host
