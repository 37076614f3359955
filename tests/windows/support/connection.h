// A connection to a port of this machine, through the system's sockets. One thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace testing_support {

class Connection {
public:
    // Throws when nobody listens.
    explicit Connection(std::uint16_t port);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Throws when the peer has gone.
    void Send(std::string_view bytes);
    // What comes next, empty at the end.
    std::string Receive();
    // Whether something waits to be received; the end counts.
    bool HasMore() const;

private:
    std::uintptr_t m_socket;
};

}  // namespace testing_support
