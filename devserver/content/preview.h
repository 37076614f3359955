// A small picture that stands for a document's first page, made from the name and the size alone.
// Owner: content/documents; any thread.
#pragma once
#include <string>

#include "store/records.h"

namespace devserver {

// A PNG whose edges grow with `resolution` (0 to 6).
std::string PreviewPng(const Item& item, int resolution);

}  // namespace devserver
