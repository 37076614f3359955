// The exchanges of one connection: head, body, answer, keep-alive, and the faults on the wire.
// Owner: http/server; runs on the connection's own thread.
#pragma once
#include <string>

#include "http/message.h"
#include "http/transport.h"

namespace devserver::http {

// Serves the connection until it ends; never throws.
void ServeConnection(Transport& transport, Application& application, const std::string& scheme);

}  // namespace devserver::http
