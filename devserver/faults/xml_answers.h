// The faults of the XML dialects: hostile documents, locks, SOAP faults and partial failures.
// Owner: faults/apply; a request's thread alone.
#pragma once
#include "faults/plan.h"

namespace devserver {

// A multistatus whose elements lie `depth` deep.
http::Response NestedXml(const FaultAction& action, std::size_t depth);
// Entities that would grow to 2 to the power of `depth` times a text.
http::Response ExpandingEntities(const FaultAction& action);
// A well-formed listing of the request's folder with `count` files that aren't there.
http::Response HugeMultistatus(const FaultAction& action, const http::Request& request);
// 423 that names `user` as the lock's owner.
http::Response LockedAnswer(const FaultAction& action, const http::Request& request);
// 500 with a fault whose error code is `code`, as written.
http::Response SoapFaultAnswer(const FaultAction& action);
// 207 with one failure; `text` replaces its status line.
http::Response PartialFailureAnswer(const FaultAction& action, const http::Request& request);

}  // namespace devserver
