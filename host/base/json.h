// JSON documents of the host: read from strangers and from its own files, so nothing in them is believed.
// Pure functions; any thread.
#pragma once

#include <rapidjson/document.h>

#include <optional>
#include <string>
#include <string_view>

namespace host {

using Json = rapidjson::Document;

// Nothing for what is no JSON in UTF-8, or is nested more than 64 deep.
std::optional<Json> ParseJson(std::string_view text);

// The same, and an empty object for what is none.
Json ParseJsonObject(std::string_view text);

// With line ends and indents, or on one line without blanks.
std::string PrettyText(const rapidjson::Value& json);
std::string CompactText(const rapidjson::Value& json);

// The text of an object's member, empty when that is something else.
std::string TextOf(const rapidjson::Value& object, const char* name);

}  // namespace host
