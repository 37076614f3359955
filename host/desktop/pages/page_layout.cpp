#include "host/desktop/pages/page_layout.h"

#include <algorithm>
#include <cmath>

namespace pages {

PageLayout::PageLayout(const std::vector<QSizeF>& sizes_in_points, double pixels_per_point)
    : m_pixels_per_point(pixels_per_point) {
    int top = kMargin;
    int widest = 0;
    for (const QSizeF& points : sizes_in_points) {
        const QSize size(std::max(1, static_cast<int>(std::lround(points.width() * pixels_per_point))),
                         std::max(1, static_cast<int>(std::lround(points.height() * pixels_per_point))));
        m_pages.push_back({top, size});
        top += size.height() + kGap;
        widest = std::max(widest, size.width());
    }
    m_size = QSize(widest + 2 * kMargin, top - kGap + kMargin);
}

QRect PageLayout::PageRect(int page, int column_width) const {
    const Place& place = m_pages[static_cast<std::size_t>(page)];
    const int width = std::max(column_width, m_size.width());
    return {QPoint((width - place.size.width()) / 2, place.top), place.size};
}

int PageLayout::PageAt(int y) const {
    const auto found = std::partition_point(m_pages.begin(), m_pages.end(), [&](const Place& place) {
        return place.top + place.size.height() <= y;
    });
    return std::min(static_cast<int>(found - m_pages.begin()), std::max(0, Count() - 1));
}

}  // namespace pages
