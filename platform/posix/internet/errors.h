// Error numbers of the internet layer: one table from the transfer library's codes.
// Any thread.
#pragma once

#include "platform/wininet.h"

namespace platform::internet {

// The number for a CURLcode; ERROR_INTERNET_INTERNAL_ERROR for one that is not in the table.
DWORD ErrorFromCurl(int code);

}  // namespace platform::internet
