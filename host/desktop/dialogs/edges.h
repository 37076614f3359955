// Where vertical edges come to stand that keep least distances from each other: a small solver for the layout
// of a window. A plain value; any thread.
#pragma once

#include <map>
#include <vector>

#include "hostapi/common.h"

namespace desktop {

// Edges are named by their places in the template and keep its order.
class Edges {
public:
    // Edges from `middle` on stand as far right as they can, those before it as far left.
    explicit Edges(LONG middle) : m_middle(middle) {}
    // `to` stands at least `distance` right of `from`. Nothing happens when `to` isn't beyond `from`.
    void Keep(LONG from, LONG to, double distance);
    // The smallest width that keeps every distance.
    void Solve();
    LONG middle() const { return m_middle; }
    double At(LONG edge) const { return m_places.at(edge); }

private:
    struct Distance {
        LONG from;
        LONG to;
        double least;
    };
    const LONG m_middle;
    std::vector<Distance> m_distances;
    std::map<LONG, double> m_places;
};

}  // namespace desktop
