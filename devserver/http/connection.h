// The exchanges of one connection: head, body, answer, keep-alive, and the faults on the wire.
// Owner: http/server; runs on the connection's own thread.
#pragma once
#include <string>

#include "http/host_names.h"
#include "http/message.h"
#include "http/transport.h"

namespace devserver::http {

// What all connections of a server share.
struct ServerAddress {
    const std::string& scheme;
    const HostNames& names;
};

// Serves the connection until it ends; never throws.
void ServeConnection(Transport& transport, Application& application, const ServerAddress& address);

}  // namespace devserver::http
