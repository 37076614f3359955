// What a result code means to a person, where nothing better was said. Any thread.
#pragma once

#include <string>

#include "platform/base.h"

namespace cli {

std::string FriendlyText(HRESULT code);

}  // namespace cli
