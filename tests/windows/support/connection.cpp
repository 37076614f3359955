#include "tests/windows/support/connection.h"

#include <winsock2.h>

#include <stdexcept>

namespace testing_support {

namespace {

void StartSockets() {
    static const int result = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (result != 0) throw std::runtime_error("there are no sockets");
}

}  // namespace

Connection::Connection(std::uint16_t port) {
    StartSockets();
    m_socket = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("nobody listens on port " + std::to_string(port));
}

Connection::~Connection() {
    closesocket(m_socket);
}

void Connection::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const int sent = send(m_socket, bytes.data(), static_cast<int>(bytes.size()), 0);
        if (sent <= 0) throw std::runtime_error("the connection has ended");
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::string Connection::Receive() {
    std::string block(65536, '\0');
    const int got = recv(m_socket, block.data(), static_cast<int>(block.size()), 0);
    block.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return block;
}

bool Connection::HasMore() const {
    fd_set sockets;
    FD_ZERO(&sockets);
    FD_SET(m_socket, &sockets);
    timeval none{0, 0};
    return select(0, &sockets, nullptr, nullptr, &none) > 0;
}

}  // namespace testing_support
