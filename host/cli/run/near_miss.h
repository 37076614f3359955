// What a person may have meant by a word that is none of the known ones. Any thread.
#pragma once

#include <string>
#include <vector>

namespace cli {

// The known word that is nearest, when at most two letters, and a third of all, have to change; or empty.
std::string NearestOf(const std::string& word, const std::vector<std::string>& known);

}  // namespace cli
