// The windows of a host, as PostMessageW finds them. Any thread.
#pragma once

#include <functional>

#include "platform/window_messages.h"

namespace platform {

// Takes a message on the thread that posts it.
using MessageSink = std::function<void(UINT message, WPARAM first, LPARAM second)>;

// For whoever makes windows: a handle whose messages go to the sink. No handle is given twice.
HWND RegisterWindow(MessageSink sink);
// The sink may still be at work for a message of before.
void UnregisterWindow(HWND window);

}  // namespace platform
