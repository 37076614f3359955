// The operation of the host that a thread is in: its cancel flag, for waits far below it that have no flag of
// their own, and how long what the server told in it still holds. On the stack; each thread has its own.
#pragma once

#include <chrono>
#include <cstdint>

#include "hostapi/common.h"

class OperationScope {
public:
    // Inside another scope of the thread this is a part of that operation. Null for a part that brings no
    // flag; the outer one's then still counts.
    explicit OperationScope(TMK::ITMK_CancelFlag* flag);
    ~OperationScope();
    OperationScope(const OperationScope&) = delete;
    OperationScope& operator=(const OperationScope&) = delete;

    // The flag that ends what this thread waits for; null without one.
    static TMK::ITMK_CancelFlag* Flag();
    // Sleeps that long; false as soon as the operation of this thread is cancelled.
    static bool Sleep(std::chrono::milliseconds duration);

    // What is known of the server now: another number in each operation, and after each request that may have
    // changed something. 0 outside of operations.
    static uint64_t Knowledge();
    static void NoteChange();
    // The same where nothing was sent: what was told before counts as old from now on.
    static void ForgetAnswers() { NoteChange(); }
    // Whether what was asked at that moment (steady clock, nanoseconds) is at most two seconds old, and no
    // thread has sent a request since that may have changed something. False for 0.
    static bool IsYoung(int64_t asked_at);
    static int64_t Now();

private:
    TMK::ITMK_CancelFlag* m_outer_flag;
    bool m_is_outermost;
};
