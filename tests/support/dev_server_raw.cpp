#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/dev_server.h"
#include "tests/support/loopback/loopback_socket.h"

namespace testing_support {

std::string DevServer::Raw(const std::string& bytes) const {
    const int connection = ConnectToLoopback(Port());
    if (connection < 0) return {};
    const timeval limit{10, 0};
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    [[maybe_unused]] const ssize_t sent = send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    shutdown(connection, SHUT_WR);
    std::string answer;
    char block[4096];
    for (ssize_t got; (got = read(connection, block, sizeof block)) > 0;)
        answer.append(block, static_cast<std::size_t>(got));
    close(connection);
    return answer;
}

}  // namespace testing_support
