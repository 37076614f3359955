// The host that tests load the plug-in into: the reference host, or what there is of it on Windows.
#pragma once

#ifdef _WIN32
#include "tests/windows/host/windows_host.h"
#else
#include "host/core/host.h"
#endif

namespace testing_support {

#ifdef _WIN32
using TestHost = windows_host::WindowsHost;
#else
using TestHost = host::Host;
#endif

}  // namespace testing_support
