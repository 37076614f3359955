// Lists that cross the host interfaces: safe arrays of variants. Plain values of one thread.
#pragma once

#include <vector>

#include "platform/com_ptr.h"

namespace host {

// Throws std::bad_alloc.
Variant ArrayOf(std::vector<Variant> elements);

// Copies of the elements; none for anything but an array of variants.
std::vector<Variant> ElementsOf(const VARIANT& array);

}  // namespace host
