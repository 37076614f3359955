// The cancel flag of the operation that a thread is in, for waits far below it that have no flag of their
// own. On the stack of an operation; each thread has its own.
#pragma once

#include <chrono>

#include "hostapi/common.h"

class CancelScope {
public:
    // Null for an operation that can't be cancelled; the outer one's flag then still counts.
    explicit CancelScope(TMK::ITMK_CancelFlag* flag);
    ~CancelScope();
    CancelScope(const CancelScope&) = delete;
    CancelScope& operator=(const CancelScope&) = delete;

    // Sleeps that long; false as soon as the operation of this thread is cancelled.
    static bool Sleep(std::chrono::milliseconds duration);

private:
    TMK::ITMK_CancelFlag* m_outer;
};
