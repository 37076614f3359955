// JSON documents, from servers and from the profile; all input is validated.
// Pure functions; any thread.
#pragma once

#include <rapidjson/document.h>

#include <optional>
#include <string>
#include <string_view>

namespace host {

using Json = rapidjson::Document;

// Nothing for invalid JSON or UTF-8, and for more than 64 levels.
std::optional<Json> ParseJson(std::string_view text);

// The same; an empty object for anything but an object.
Json ParseJsonObject(std::string_view text);

// With line ends and indents, or on one line without blanks.
std::string PrettyText(const rapidjson::Value& json);
std::string CompactText(const rapidjson::Value& json);

// The text of an object's member, empty when that is something else.
std::string TextOf(const rapidjson::Value& object, const char* name);

}  // namespace host
