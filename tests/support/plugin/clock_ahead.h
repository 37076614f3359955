// A clock for programs with the plug-in's sources in them: what the plug-in takes for the time since 1601 can
// be set ahead. The library that holds this brings the linker's options along. Any thread.
#pragma once

#include <chrono>

namespace testing_support {

// Ahead as long as the object lives.
class ClockAhead {
public:
    explicit ClockAhead(std::chrono::hours hours);
    ~ClockAhead();
    ClockAhead(const ClockAhead&) = delete;
    ClockAhead& operator=(const ClockAhead&) = delete;
};

}  // namespace testing_support
