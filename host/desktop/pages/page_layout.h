// Where the pages of a continuous column lie, in logical pixels. A value.
#pragma once

#include <QRect>
#include <QSizeF>
#include <vector>

namespace pages {

class PageLayout {
public:
    static constexpr int kMargin = 16;  // around the column
    static constexpr int kGap = 12;     // between two pages

    PageLayout() = default;
    PageLayout(const std::vector<QSizeF>& sizes_in_points, double pixels_per_point);

    int Count() const { return static_cast<int>(m_pages.size()); }
    // Centred in a column of this width, or of its own width where that is more.
    QRect PageRect(int page, int column_width) const;
    QSize Size() const { return m_size; }
    // The page at this height, or the next one below.
    int PageAt(int y) const;
    double PixelsPerPoint() const { return m_pixels_per_point; }

private:
    struct Place {
        int top;
        QSize size;
    };
    std::vector<Place> m_pages;
    QSize m_size;
    double m_pixels_per_point = 1;
};

}  // namespace pages
