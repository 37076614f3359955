// A sentence for a result code that has no message. Any thread.
#pragma once

#include <string>

#include "platform/base.h"

namespace host {

std::string FriendlyText(HRESULT code);

}  // namespace host
