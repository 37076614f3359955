// What a fault does to a request before it is served and to its answer afterwards.
// Owner: app/service; a request's thread alone.
#pragma once
#include <optional>
#include <vector>

#include "faults/plan.h"
#include "http/message.h"
#include "store/store.h"

namespace devserver {

// Changes the request, or the site before the request is served.
void Prepare(const std::vector<FaultAction>& actions, http::Request& request, Store& store);
// The answer that replaces the real one; `served`: the request has been served already.
std::optional<http::Response> AnswerInstead(const std::vector<FaultAction>& actions,
                                            const http::Request& request, bool served);
// Damages the real answer, or what an upload has stored.
void Spoil(const std::vector<FaultAction>& actions, const http::Request& request, http::Response& response,
           Store& store);
// Writes a document as another user; `time` is by default later than the document's own.
Item WriteAsOther(Store& store, const std::string& path, const std::string& user, const std::string& text,
                  std::optional<Seconds> time, bool force);

}  // namespace devserver
