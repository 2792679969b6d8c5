#pragma once

#include <cstdint>

namespace brisko::tool {

/// A grid of directions in the scanner's frame: degrees, azimuth counter-clockwise from +x, zenith
/// from +z. Angles are kept as headers store them, in single precision, so that a point lies where
/// its header says.
struct ScanGrid {
    static constexpr std::uint64_t kTileEdge = 256;  // cells

    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    float startAzimuth = 0;
    float stopAzimuth = 0;  // where a column after the last one would be
    float startZenith = 0;
    float stopZenith = 0;

    std::uint64_t cells() const { return std::uint64_t{columns} * rows; }
    /// Tiles of an index over the grid.
    std::uint64_t tiles() const {
        return ((columns + kTileEdge - 1) / kTileEdge) * ((rows + kTileEdge - 1) / kTileEdge);
    }
    double azimuth(std::uint32_t column) const {
        return between(startAzimuth, stopAzimuth, column, columns);
    }
    double zenith(std::uint32_t row) const { return between(startZenith, stopZenith, row, rows); }

private:
    static double between(double start, double stop, std::uint32_t step, std::uint32_t steps) {
        return start + (stop - start) * step / steps;
    }
};

}  // namespace brisko::tool
