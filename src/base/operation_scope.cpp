#include "base/operation_scope.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include "base/failure.h"

namespace {
thread_local TMK::ITMK_CancelFlag* g_flag = nullptr;
thread_local uint64_t g_knowledge = 0;
std::atomic<uint64_t> g_last_knowledge{0};
std::atomic<int64_t> g_last_change{0};
constexpr std::chrono::seconds kYoung(2);
constexpr std::chrono::milliseconds kBetweenLooks(50);
}  // namespace

OperationScope::OperationScope(TMK::ITMK_CancelFlag* flag)
    : m_outer_flag(g_flag), m_is_outermost(g_knowledge == 0) {
    if (flag) g_flag = flag;
    if (m_is_outermost) g_knowledge = ++g_last_knowledge;
}

OperationScope::~OperationScope() {
    g_flag = m_outer_flag;
    if (m_is_outermost) g_knowledge = 0;
}

TMK::ITMK_CancelFlag* OperationScope::Flag() {
    return g_flag;
}

uint64_t OperationScope::Knowledge() {
    return g_knowledge;
}

int64_t OperationScope::Now() {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

bool OperationScope::IsYoung(int64_t asked_at) {
    return asked_at > g_last_change && Now() - asked_at <= kYoung / std::chrono::nanoseconds(1);
}

void OperationScope::NoteChange() {
    g_last_change = Now();
    if (g_knowledge != 0) g_knowledge = ++g_last_knowledge;
}

bool OperationScope::Sleep(std::chrono::milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    while (!IsCanceled(g_flag)) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) return true;
        std::this_thread::sleep_for(std::min(left, kBetweenLooks));
    }
    return false;
}
