// Small XML helpers: escaping, and reading request bodies with namespaces resolved.
// Owner: everyone in devserver/; any thread.
#pragma once
#include <pugixml.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

namespace devserver::xml {

// A body that isn't well-formed XML, or beyond the limits.
struct Malformed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A local name with its namespace.
struct Name {
    std::string space, local;
    bool Is(std::string_view wanted_space, std::string_view wanted_local) const {
        return space == wanted_space && local == wanted_local;
    }
    auto operator<=>(const Name&) const = default;
};

// Escapes text for use between tags and in attributes; leaves out characters that XML forbids.
std::string Escape(std::string_view text);
// Parses a whole body; throws Malformed for broken XML, undeclared prefixes and too deep nesting.
void Parse(pugi::xml_document& document, const std::string& text);
Name NameOf(const pugi::xml_node& element);
// The first child element of this local name, whatever its prefix; null when there is none.
pugi::xml_node Child(const pugi::xml_node& parent, std::string_view local);
// The element's content as XML with every namespace declared where it is used.
std::string ContentOf(const pugi::xml_node& element);

}  // namespace devserver::xml
