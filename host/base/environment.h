// Questions to the environment variables. Any thread.
#pragma once

#include <initializer_list>

namespace host {

// Whether one of the variables has a value that isn't empty.
bool IsAnySet(std::initializer_list<const char*> variables);

// Whether requests may go through a proxy.
bool IsProxySet();

}  // namespace host
