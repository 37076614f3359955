// Keeps SIGPIPE from ending the process when a TLS connection breaks during a write.
// Affects only the thread that makes it: a plug-in changes no signal handler of its process.
#pragma once

#include <csignal>
#include <ctime>

namespace platform::internet {

class PipeSignalGuard {
public:
    PipeSignalGuard() {
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        sigset_t pending;
        sigemptyset(&pending);
        sigpending(&pending);
        m_was_pending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_old);
    }
    ~PipeSignalGuard() {
        const std::timespec at_once{};
        while (!m_was_pending && sigtimedwait(&m_pipe, nullptr, &at_once) == SIGPIPE) continue;
        pthread_sigmask(SIG_SETMASK, &m_old, nullptr);
    }
    PipeSignalGuard(const PipeSignalGuard&) = delete;
    PipeSignalGuard& operator=(const PipeSignalGuard&) = delete;

private:
    sigset_t m_pipe;
    sigset_t m_old;
    bool m_was_pending = false;
};

}  // namespace platform::internet
