// What the desktop does with files, under Win32's names; a backslash in a path stands for a slash.
// Any thread.
#pragma once

#include "platform/base.h"
#include "platform/window_messages.h"

using HINSTANCE = struct HINSTANCE__*;

inline constexpr INT SW_SHOWNORMAL = 1;

extern "C" {

BOOL PathFileExistsW(LPCWSTR path);

// Opens a file or a folder with the program that the person has for it; "explorer" with `/select,"PATH"`
// shows the folder of a file with the file selected. The operation is "open" or null. 32 and less is a
// failure: 2 there is no such file, 31 no program opens it, 5 anything else. Waits three seconds for the
// answer at most.
HINSTANCE ShellExecuteW(HWND window, LPCWSTR operation, LPCWSTR file, LPCWSTR parameters, LPCWSTR folder,
                        INT show);

}  // extern "C"
