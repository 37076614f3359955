// The registry of a host's windows, of which this host shows none.
#include "platform/window_registry.h"

namespace platform {

HWND RegisterWindow(MessageSink) {
    return nullptr;
}
void UnregisterWindow(HWND) {}

}  // namespace platform
