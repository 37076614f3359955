// The lists of file kinds in open and save dialogs. Any thread.
#pragma once

#include <string>
#include <string_view>

#include "host/prompts/catalogue.h"

namespace host {

enum class FilterForm { OneKind = 0, AllKinds = 1 };

// Title, "|", patterns with ";" between them, and "|", once or more often; empty for an unknown key. Keys:
// "<pdf>", "<doc>", "<xls>", "<ppt>", "<vsd>", "<all>", and "<allSupp>" for all documents.
std::u16string FileFilter(const Catalogue& catalogue, std::u16string_view key, FilterForm form);

}  // namespace host
