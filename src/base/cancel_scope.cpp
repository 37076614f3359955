#include "base/cancel_scope.h"

#include <algorithm>
#include <thread>

#include "base/failure.h"

namespace {
thread_local TMK::ITMK_CancelFlag* g_flag = nullptr;
constexpr std::chrono::milliseconds kBetweenLooks(50);
}  // namespace

CancelScope::CancelScope(TMK::ITMK_CancelFlag* flag) : m_outer(g_flag) {
    if (flag) g_flag = flag;
}

CancelScope::~CancelScope() {
    g_flag = m_outer;
}

bool CancelScope::Sleep(std::chrono::milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    while (!IsCanceled(g_flag)) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) return true;
        std::this_thread::sleep_for(std::min(left, kBetweenLooks));
    }
    return false;
}
