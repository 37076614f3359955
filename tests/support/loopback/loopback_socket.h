// Sockets on 127.0.0.1, for servers and raw clients of tests. The caller closes them. Any thread.
#pragma once

#include <cstdint>

namespace testing_support {

// A listening socket on a port of the system's choice; throws when there is none.
int ListenOnLoopback(std::uint16_t& out_port);

// A connection, or -1 when nobody listens.
int ConnectToLoopback(std::uint16_t port);

}  // namespace testing_support
