#include "platform/window_registry.h"

#include <dlfcn.h>

#include <map>
#include <memory>
#include <mutex>

namespace {

using platform::MessageSink;

struct Registry {
    std::mutex mutex;
    std::map<HWND, std::shared_ptr<const MessageSink>> sinks;
    std::uintptr_t last_handle = 0x10000;
};

Registry& Windows() {
    static Registry registry;
    return registry;
}

}  // namespace

// The program exports it, for the libraries that have a copy of this code and a registry of their own.
extern "C" __attribute__((visibility("default"))) BOOL PlatformPostMessage(HWND window, UINT message,
                                                                           WPARAM first, LPARAM second) {
    std::shared_ptr<const MessageSink> sink;
    {
        Registry& windows = Windows();
        const std::lock_guard lock(windows.mutex);
        const auto found = windows.sinks.find(window);
        if (found != windows.sinks.end()) sink = found->second;
    }
    if (!sink) return FALSE;
    (*sink)(message, first, second);
    return TRUE;
}

BOOL PostMessageW(HWND window, UINT message, WPARAM first, LPARAM second) {
    static const auto post = [] {
        void* const of_program = dlsym(RTLD_DEFAULT, "PlatformPostMessage");
        return of_program ? reinterpret_cast<decltype(&PlatformPostMessage)>(of_program)
                          : &PlatformPostMessage;
    }();
    if (post(window, message, first, second)) return TRUE;
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return FALSE;
}

namespace platform {

HWND RegisterWindow(MessageSink sink) {
    Registry& windows = Windows();
    const std::lock_guard lock(windows.mutex);
    windows.last_handle += 4;
    const HWND window = reinterpret_cast<HWND>(windows.last_handle);
    windows.sinks.emplace(window, std::make_shared<const MessageSink>(std::move(sink)));
    return window;
}

void UnregisterWindow(HWND window) {
    Registry& windows = Windows();
    const std::lock_guard lock(windows.mutex);
    windows.sinks.erase(window);
}

}  // namespace platform
