// Many requests in one multipart request.
// Owner: rest/; a request's thread alone.
#pragma once
#include <functional>

#include "http/message.h"

namespace devserver::rest {

http::Response AnswerBatch(http::Request& request,
                           const std::function<http::Response(http::Request&)>& serve);

}  // namespace devserver::rest
