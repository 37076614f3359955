// A folder of a library in pages.
// Owner: rest/; a request's thread alone.
#pragma once
#include "rest/resource.h"

namespace devserver::rest {

// The answer of RenderListDataAsStream, whose parameters are the request's body.
Outcome RenderListData(Context& context, const Library& library);

}  // namespace devserver::rest
