// Which addresses secrets may be sent to. Pure functions; any thread.
#pragma once

#include <string>

namespace host {

// Whether the URL's host is this machine: localhost, 127.0.0.0/8 or [::1], by its parsed parts. An address
// that two readers could take apart differently is not.
bool IsThisMachine(const std::string& url);

// Whether nobody on the way can read what is sent: over https, or to this machine.
bool IsPrivateWay(const std::string& url);

}  // namespace host
