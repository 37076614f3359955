// Two functions that differ in their trace alone, called often with the log below its verbose level; the
// instructions of each are counted from outside (tools/run-benchmarks).
#include <cstdio>

#include "base/failure.h"

namespace {

volatile int g_sink = 0;

// Calls that the compiler can't inline, as nearly every function with a trace makes them.
void (*volatile g_work)(int) = [](int value) { g_sink = value; };

}  // namespace

extern "C" [[gnu::noinline]] int CallWithoutTrace(int value) {
    g_work(value);
    g_work(value + 1);
    return value;
}

extern "C" [[gnu::noinline]] int CallWithEntryTrace(int value) {
    TRACE_ENTRY("CallWithEntryTrace");
    g_work(value);
    g_work(value + 1);
    return value;
}

extern "C" [[gnu::noinline]] int CallWithBothTraces(int value) {
    TRACE_ENTRY("CallWithBothTraces");
    g_work(value);
    g_work(value + 1);
    TRACE_EXIT(u"");
    return value;
}

int main() {
    Log::Internal::g_level = Log::information;
    constexpr int kCalls = 100'000;
    for (int i = 0; i < kCalls; ++i)
        g_sink = CallWithoutTrace(i) + CallWithEntryTrace(i) + CallWithBothTraces(i);
    std::printf("%d\n", kCalls);
}
