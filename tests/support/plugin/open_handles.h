// Counts the internet handles that the plug-in's sources in this program hold. The library that holds this
// brings the linker's options along. Any thread.
#pragma once

namespace testing_support {

// Sessions, connections and requests that were opened and not closed.
long OpenHandles();

}  // namespace testing_support
