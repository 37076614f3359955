// Uploads in pieces: start, continue, finish, cancel.
// Owner: rest/; a request's thread alone.
#pragma once
#include <functional>

#include "rest/resource.h"

namespace devserver::rest {

// Nothing when the segment isn't one of these operations; `file` gives the document or throws.
std::optional<Outcome> UploadOperation(Context& context, const Segment& segment,
                                       const std::function<const Item&()>& file);

}  // namespace devserver::rest
