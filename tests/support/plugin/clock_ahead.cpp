#include "tests/support/plugin/clock_ahead.h"

#include <atomic>

#include "platform/base.h"

// The linker sends the plug-in's calls here.
extern "C" {
void SystemTime(FILETIME* time) __asm__("__real_GetSystemTimeAsFileTime");
void SystemTimeAhead(FILETIME* time) __asm__("__wrap_GetSystemTimeAsFileTime");
}

namespace {
std::atomic<std::uint64_t> g_ticks_ahead{0};
}

void SystemTimeAhead(FILETIME* time) {
    SystemTime(time);
    const std::uint64_t ticks =
        (static_cast<std::uint64_t>(time->dwHighDateTime) << 32 | time->dwLowDateTime) + g_ticks_ahead;
    time->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    time->dwLowDateTime = static_cast<DWORD>(ticks);
}

namespace testing_support {

ClockAhead::ClockAhead(std::chrono::hours hours) {
    constexpr std::uint64_t kTicksPerHour = 36'000'000'000;
    g_ticks_ahead = static_cast<std::uint64_t>(hours.count()) * kTicksPerHour;
}

ClockAhead::~ClockAhead() {
    g_ticks_ahead = 0;
}

}  // namespace testing_support
