// Messages that are posted to windows. Any thread.
#pragma once

#include "platform/base.h"

using HWND = void*;
using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;

inline constexpr DWORD ERROR_INVALID_WINDOW_HANDLE = 1400;

extern "C" {

// Returns at once; the window gets the message later. ERROR_INVALID_WINDOW_HANDLE when there is no such
// window (any more).
BOOL PostMessageW(HWND window, UINT message, WPARAM first, LPARAM second);

}  // extern "C"
