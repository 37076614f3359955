// What tells plug-ins apart. Any thread.
#pragma once

#include <string>

#include "hostapi/itmk.h"

namespace host {

// A plug-in's class id as text. Throws a Failure.
std::u16string IdOf(TMK::ITMK_Plugin* plugin);

}  // namespace host
