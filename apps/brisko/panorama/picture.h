#pragma once

#include "panorama/picture_grid.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace brisko::tool {

/// How the grid lies in the picture. As seen from the scanner, left to right is clockwise from above
/// and top to bottom is from the zenith down.
struct PictureOrientation {
    bool mirrorColumns = false;  // columns turn counter-clockwise
    bool mirrorRows = false;     // rows rise
};

/// What the darkest and the brightest grey stand for.
struct PictureScale {
    float low = 0;  // metres or intensity
    float high = 0;
    bool isEmpty = true;  // no pixel shows anything
};

/// A gathered grid as a picture. Ranges are near bright to far dark on a logarithmic scale, intensities
/// dark to bright; both between the values that leave out the outermost hundredth on either side.
/// Cells without a point are dark blue. Keeps one row of pixels at a time.
class Picture {
public:
    Picture(const PictureGrid& grid, PictureMode mode, const PictureOrientation& orientation,
            std::uint32_t width, std::uint32_t height);

    const PictureScale& scale() const { return m_scale; }

    /// Hands out red, green and blue of the pixels, row by row from the top.
    void paint(const std::function<void(const std::uint8_t*)>& takeRow) const;

private:
    using Values = std::vector<PictureValue>;
    /// Calls visit(values of the row, rows in a run that are alike).
    template <class Visit>
    void forEachRow(const Visit& visit) const;
    CellRange rowsAt(std::uint32_t y) const;
    PictureScale findScale() const;

    const PictureGrid& m_grid;
    PictureMode m_mode;
    PictureOrientation m_orientation;
    std::uint32_t m_height;
    std::vector<CellRange> m_columns;  // of each pixel of a row
    PictureScale m_scale;
};

}  // namespace brisko::tool
