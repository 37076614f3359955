// $filter expressions over an entity's properties.
// Owner: rest/; a request's thread alone.
#pragma once
#include <functional>
#include <string_view>

#include "odata/value.h"

namespace devserver::rest {

// Throws ApiError 400 for what doesn't parse.
std::function<bool(const odata::Entity&)> parse_filter(std::string_view text);

}  // namespace devserver::rest
