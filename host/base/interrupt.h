// Ctrl-C as a flag that long operations ask and a descriptor that waiting ones watch.
// One for the process; any thread.
#pragma once

#include <atomic>

namespace host {

// Set once SIGINT or SIGTERM has arrived.
const std::atomic<bool>& InterruptFlag();

// Becomes readable with the flag, and stays so; -1 before InstallInterruptHandler.
int InterruptDescriptor();

// Takes SIGINT and SIGTERM as a wish to stop: the first sets the flag, a later one ends the process.
// SIGPIPE and SIGXFSZ become errors of the call that met them.
void InstallInterruptHandler();

// Sleeps; false when interrupted before the time was over.
bool SleepUnlessInterrupted(int milliseconds);

}  // namespace host
