// Ctrl-C as a flag for long operations and a descriptor for waiting ones.
// One for the process; any thread.
#pragma once

#include <atomic>

namespace host {

namespace detail {
inline std::atomic<bool> g_interrupted{false};
}

// Set once SIGINT, SIGTERM or SIGHUP has arrived.
inline const std::atomic<bool>& InterruptFlag() {
    return detail::g_interrupted;
}

// Becomes readable with the flag, and stays so; -1 before InstallInterruptHandler.
int InterruptDescriptor();

// Handles SIGINT, SIGTERM and, unless it is ignored, SIGHUP: the first sets the flag, a later one ends the
// process. SIGPIPE and SIGXFSZ become errors of the failing call.
void InstallInterruptHandler();

// Sleeps; false when interrupted before the time was over.
bool SleepUnlessInterrupted(int milliseconds);

}  // namespace host
