#include "tests/support/loopback/loopback_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace testing_support {

namespace {

sockaddr_in AddressOf(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

}  // namespace

int ListenOnLoopback(std::uint16_t& out_port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = AddressOf(0);
    socklen_t size = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, name, size) != 0 || listen(listener, 64) != 0 ||
        getsockname(listener, name, &size) != 0) {
        close(listener);
        throw std::runtime_error("no port for a test server");
    }
    out_port = ntohs(address.sin_port);
    return listener;
}

int ConnectToLoopback(std::uint16_t port) {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = AddressOf(port);
    if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return connection;
    close(connection);
    return -1;
}

}  // namespace testing_support
