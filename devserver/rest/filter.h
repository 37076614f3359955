// $filter expressions over an entity's properties.
// Owner: rest/; a request's thread alone.
#pragma once
#include <functional>
#include <string_view>

#include "odata/value.h"

namespace devserver::rest {

// Throws ApiError 400 for what doesn't parse.
std::function<bool(const odata::Entity&)> ParseFilter(std::string_view text);

// A property of an entity, or of one that a path like "Author/Title" leads to; throws for an unknown one.
odata::Value PropertyOf(const odata::Entity& entity, std::string_view path, int depth = 0);

}  // namespace devserver::rest
