#include "tests/support/plugin/open_handles.h"

#include <atomic>

#include "platform/wininet.h"

// The linker sends the plug-in's calls here; the names are the mangled ones.
#define INTERPOSED(result, name, mangled, ...)                 \
    result Real##name(__VA_ARGS__) __asm__("__real_" mangled); \
    result Counted##name(__VA_ARGS__) __asm__("__wrap_" mangled)

INTERPOSED(HINTERNET, Open, "_Z13InternetOpenWPKDsjS0_S0_j", LPCWSTR agent, DWORD type, LPCWSTR proxy,
           LPCWSTR bypass, DWORD flags);
INTERPOSED(HINTERNET, Connect, "_Z16InternetConnectWPvPKDstS1_S1_jjm", HINTERNET session, LPCWSTR host,
           INTERNET_PORT port, LPCWSTR user, LPCWSTR password, DWORD service, DWORD flags, DWORD_PTR context);
INTERPOSED(HINTERNET, Request, "_Z16HttpOpenRequestWPvPKDsS1_S1_S1_PS1_jm", HINTERNET connection,
           LPCWSTR verb, LPCWSTR object, LPCWSTR version, LPCWSTR referrer, LPCWSTR* accept, DWORD flags,
           DWORD_PTR context);
INTERPOSED(BOOL, Close, "_Z19InternetCloseHandlePv", HINTERNET handle);

namespace {

std::atomic<long> g_open{0};

HINTERNET Count(HINTERNET handle) {
    if (handle) ++g_open;
    return handle;
}

}  // namespace

HINTERNET CountedOpen(LPCWSTR agent, DWORD type, LPCWSTR proxy, LPCWSTR bypass, DWORD flags) {
    return Count(RealOpen(agent, type, proxy, bypass, flags));
}

HINTERNET CountedConnect(HINTERNET session, LPCWSTR host, INTERNET_PORT port, LPCWSTR user, LPCWSTR password,
                         DWORD service, DWORD flags, DWORD_PTR context) {
    return Count(RealConnect(session, host, port, user, password, service, flags, context));
}

HINTERNET CountedRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR object, LPCWSTR version,
                         LPCWSTR referrer, LPCWSTR* accept, DWORD flags, DWORD_PTR context) {
    return Count(RealRequest(connection, verb, object, version, referrer, accept, flags, context));
}

BOOL CountedClose(HINTERNET handle) {
    const BOOL is_closed = RealClose(handle);
    if (is_closed) --g_open;
    return is_closed;
}

namespace testing_support {

long OpenHandles() {
    return g_open;
}

}  // namespace testing_support
