#include "host/desktop/dialogs/edges.h"

#include <algorithm>

namespace desktop {

void Edges::Keep(LONG from, LONG to, double distance) {
    m_places[from] = 0;
    m_places[to] = 0;
    if (to > from) m_distances.push_back({from, to, distance});
}

void Edges::Solve() {
    for (auto edge = m_places.begin(); std::next(edge) != m_places.end(); ++edge)
        m_distances.push_back({edge->first, std::next(edge)->first, 0});
    // Distances lead to the right alone, so that one pass in the order of the edges settles all of them.
    std::sort(m_distances.begin(), m_distances.end(),
              [](const Distance& a, const Distance& b) { return a.to < b.to; });
    std::map<LONG, double> left = m_places;
    for (const Distance& distance : m_distances)
        left[distance.to] = std::max(left[distance.to], left[distance.from] + distance.least);
    std::map<LONG, double> right;
    for (const auto& [edge, place] : left) right[edge] = left.rbegin()->second;
    std::sort(m_distances.begin(), m_distances.end(),
              [](const Distance& a, const Distance& b) { return a.from > b.from; });
    for (const Distance& distance : m_distances)
        right[distance.from] = std::min(right[distance.from], right[distance.to] - distance.least);
    for (auto& [edge, place] : m_places) place = edge < m_middle ? left[edge] : right[edge];
}

}  // namespace desktop
