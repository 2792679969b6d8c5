#pragma once

#include "panorama/picture_grid.h"

#include <cstdint>
#include <vector>

namespace brisko::tool {

/// Red, green and blue of each pixel, 8 bits each, the top row first.
struct Picture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> pixels;
};

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

/// Paints the gathered grid. Ranges are near bright to far dark on a logarithmic scale, intensities
/// dark to bright; both between the values that leave out the outermost hundredth on either side.
/// Cells without a point are dark blue.
Picture paintPicture(const PictureGrid& grid, PictureMode mode,
                     const PictureOrientation& orientation, std::uint32_t width,
                     std::uint32_t height, PictureScale& scale);

}  // namespace brisko::tool
