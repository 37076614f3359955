// What a fault does to a request before it is served and to its answer afterwards.
// Owner: app/service; a request's thread alone.
#pragma once
#include <optional>
#include <vector>

#include "faults/plan.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver {

// Changes the request, or the site behind its back.
void prepare(const std::vector<FaultAction>& actions, http::Request& request, Store& store);
// The answer that stands in for the real one; `served` tells whether the request has done its work.
std::optional<http::Response> answer_instead(const std::vector<FaultAction>& actions,
                                             const http::Request& request, bool served);
// Damages the real answer, or what an upload has stored.
void spoil(const std::vector<FaultAction>& actions, const http::Request& request, http::Response& response,
           Store& store);
// Writes a document as somebody else would; `time` is by default later than the document's own.
Item write_as_other(Store& store, const std::string& path, const std::string& user, const std::string& text,
                    std::optional<Seconds> time, bool force);

}  // namespace devserver
