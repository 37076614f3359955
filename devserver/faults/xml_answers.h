// The faults of the XML dialects: hostile documents, locks, SOAP faults and partial failures.
// Owner: faults/apply; a request's thread alone.
#pragma once
#include "faults/plan.h"

namespace devserver {

// A multistatus whose elements lie `depth` deep.
http::Response nested_xml(const FaultAction& action, std::size_t depth);
// Entities that would grow to 2 to the power of `depth` times a text.
http::Response expanding_entities(const FaultAction& action);
// A well-formed listing of the request's folder with `count` files that aren't there.
http::Response huge_multistatus(const FaultAction& action, const http::Request& request);
// 423 that names `user` as the lock's owner.
http::Response locked_answer(const FaultAction& action, const http::Request& request);
// 500 with a fault whose error code is `code`, as written.
http::Response soap_fault_answer(const FaultAction& action);
// 207 with one failure; `text` replaces its status line.
http::Response partial_failure_answer(const FaultAction& action, const http::Request& request);

}  // namespace devserver
