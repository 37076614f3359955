// The older versions of a document.
// Owner: rest/; a request's thread alone.
#pragma once
#include "rest/resource.h"

namespace devserver::rest {

ResourcePtr make_versions(const Item& file);
Feed versions_feed(const Context& context, const Item& file);

}  // namespace devserver::rest
