#pragma once

#include "scan/formats/angle_estimate.h"
#include "scan/pictures/picture_samples.h"

#include <brisko_scan/panorama.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace brisko::scan {

/// The samples that a pixel shows; none where the scan has nothing there.
struct PixelCells {
    CellRange columns, rows;

    bool operator==(const PixelCells&) const = default;
};

/// How the scan lies, and how large it is.
struct ScanView {
    std::uint32_t columns = 0, rows = 0;  // of the grid
    AngleStep azimuth, zenith;
};

/// Which samples each pixel of a picture shows. As seen from the scanner: left to right is clockwise seen
/// from above, top to bottom is from the zenith down.
class PictureView {
public:
    /// sampleColumns, sampleRows: of what was gathered from the grid.
    PictureView(Projection projection, const ScanView& scan, std::uint32_t sampleColumns,
                std::uint32_t sampleRows, std::uint32_t width, std::uint32_t height);

    std::uint32_t width() const { return m_width; }
    std::uint32_t height() const { return m_height; }
    /// Replaces `cells` by those of the pixels of a row.
    void rowOf(std::uint32_t y, std::vector<PixelCells>& cells) const;

    /// The azimuth at the left edge and what a pixel adds to it, degrees; none where it does not change evenly.
    std::optional<AngleStep> azimuthAcross() const;
    /// The elevation at the upper edge, likewise.
    std::optional<AngleStep> elevationDown() const;

private:
    struct Direction {
        double azimuth, zenith;  // degrees
    };
    Direction directionOf(std::uint32_t x, std::uint32_t y) const;
    PixelCells cellsAt(const Direction& direction) const;

    Projection m_projection;
    ScanView m_scan;
    std::uint32_t m_sampleColumns, m_sampleRows, m_width, m_height;
    std::uint32_t m_across = 1, m_down = 1;  // samples a pixel
    bool m_mirrorsColumns, m_mirrorsRows;
};

/// How high a picture is by its projection, to a width. None for the grid: its angles say that.
std::optional<std::uint32_t> heightOf(Projection projection, std::uint32_t width);

}  // namespace brisko::scan
