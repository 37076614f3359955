// Messages that are posted to windows. Any thread.
#pragma once

#include <functional>

#include "platform/base.h"

using HWND = void*;
using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;

inline constexpr DWORD ERROR_INVALID_WINDOW_HANDLE = 1400;

// Returns at once; the window gets the message later. ERROR_INVALID_WINDOW_HANDLE when there is no such
// window (any more).
BOOL PostMessageW(HWND window, UINT message, WPARAM first, LPARAM second);

namespace platform {

// Takes a message on the thread that posts it.
using MessageSink = std::function<void(UINT message, WPARAM first, LPARAM second)>;

// For whoever makes windows: a handle whose messages go to the sink. No handle is given twice.
HWND RegisterWindow(MessageSink sink);
// The sink may still be at work for a message of before.
void UnregisterWindow(HWND window);

}  // namespace platform
