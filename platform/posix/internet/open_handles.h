// How many internet handles are open in the process, for tests alone: none may be left behind.
// Any thread.
#pragma once

#include <cstddef>

namespace platform::internet {

std::size_t OpenHandleCount();

}  // namespace platform::internet
