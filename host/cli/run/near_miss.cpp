#include "host/cli/run/near_miss.h"

#include <algorithm>
#include <numeric>

namespace cli {

namespace {

// How many letters have to be changed, added or left out.
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

}  // namespace

std::string NearestOf(const std::string& word, const std::vector<std::string>& known) {
    std::string nearest;
    std::size_t fewest = std::min<std::size_t>(2, std::max<std::size_t>(1, word.size() / 3)) + 1;
    for (const std::string& candidate : known) {
        const std::size_t distance = Distance(word, candidate);
        if (distance < fewest && distance < candidate.size()) {
            fewest = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

}  // namespace cli
