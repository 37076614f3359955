// The older versions of a document.
// Owner: rest/; a request's thread alone.
#pragma once
#include "rest/resource.h"

namespace devserver::rest {

ResourcePtr MakeVersions(const Item& file);
Feed VersionsFeed(const Context& context, const Item& file);

}  // namespace devserver::rest
