#include "host/base/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

namespace host {

namespace {

std::atomic<int> g_read_end{-1};
std::atomic<int> g_write_end{-1};

void OnSignal(int number) {
    const int saved = errno;
    if (detail::g_interrupted.exchange(true)) {
        signal(number, SIG_DFL);
        raise(number);
    } else {
        const char byte = 1;
        [[maybe_unused]] const ssize_t written = write(g_write_end, &byte, 1);
    }
    errno = saved;
}

}  // namespace

int InterruptDescriptor() {
    return g_read_end;
}

void InstallInterruptHandler() {
    int ends[2];
    if (g_read_end >= 0 || pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return;
    g_write_end = ends[1];
    g_read_end = ends[0];
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A closed terminal ends what runs in it, unless somebody asked for the opposite.
    struct sigaction hangup {};
    if (sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler != SIG_IGN)
        sigaction(SIGHUP, &action, nullptr);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

bool SleepUnlessInterrupted(int milliseconds) {
    pollfd watched{g_read_end, POLLIN, 0};
    poll(&watched, 1, milliseconds);
    return !detail::g_interrupted;
}

}  // namespace host
