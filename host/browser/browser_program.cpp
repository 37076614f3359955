#include "host/browser/browser_program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "host/base/failure.h"
#include "host/base/spawn.h"

extern char** environ;

namespace host {

namespace {

constexpr std::size_t kLongestLine = 8u << 20;
constexpr std::chrono::seconds kTimeout{5};

// Its standard input is the socket; the engine's messages are dropped.
pid_t Spawn(const fs::path& program, int socket) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, socket, STDIN_FILENO);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    std::string name = program.string();
    char* const words[] = {name.data(), nullptr};
    pid_t process = -1;
    const int error = posix_spawn(&process, name.c_str(), &files, SpawnAttributes().get(), words, environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) ThrowErrno("start", program, error);
    return process;
}

}  // namespace

BrowserProgram::BrowserProgram(const fs::path& program, OnLine on_line, OnEnd on_end)
    : m_on_line(std::move(on_line)), m_on_end(std::move(on_end)) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) ThrowErrno("talk to", program, errno);
    m_socket = Descriptor(ends[0]);
    // A program that stops reading counts as ended.
    const timeval timeout{kTimeout.count(), 0};
    setsockopt(m_socket.get(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
    const Descriptor its_end(ends[1]);
    m_process = Spawn(program, its_end.get());
    m_listener = std::thread([this] { Listen(); });
}

BrowserProgram::~BrowserProgram() {
    Send(R"({"do":"end"})");
    {
        std::unique_lock lock(m_mutex);
        // The process id stays valid until waitpid below.
        if (!m_changed.wait_for(lock, kTimeout, [this] { return m_ended; })) kill(-m_process, SIGKILL);
    }
    m_listener.join();
    waitpid(m_process, nullptr, 0);
}

bool BrowserProgram::Send(const std::string& line) {
    const std::string whole = line + "\n";
    for (std::size_t sent = 0; sent < whole.size();) {
        const ssize_t now = send(m_socket.get(), whole.data() + sent, whole.size() - sent, MSG_NOSIGNAL);
        if (now < 0 && errno == EINTR) continue;
        if (now <= 0) return false;
        sent += static_cast<std::size_t>(now);
    }
    return true;
}

void BrowserProgram::Listen() {
    std::string pending;
    char bytes[16384];
    while (pending.size() <= kLongestLine) {
        const ssize_t got = recv(m_socket.get(), bytes, sizeof(bytes), 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        pending.append(bytes, static_cast<std::size_t>(got));
        for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            m_on_line(pending.substr(0, end));
            pending.erase(0, end + 1);
        }
    }
    shutdown(m_socket.get(), SHUT_RDWR);
    siginfo_t how{};
    while (waitid(P_PID, static_cast<id_t>(m_process), &how, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    m_on_end(how.si_code == CLD_EXITED ? how.si_status : -1);
    const std::lock_guard lock(m_mutex);
    m_ended = true;
    m_changed.notify_all();
}

}  // namespace host
