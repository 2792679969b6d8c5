#pragma once

#include <brisko_codec/cell_reader.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brisko::scan {

/// The angle of column (or row) 0 and the angle to the next one, degrees.
struct AngleStep {
    double start = 0;
    double step = 0;
    bool known = false;  // at least two columns (rows) held points
};

/// Finds out how columns and rows lie in space from the points of a scan, in the scanner's frame:
/// azimuth counter-clockwise from +x seen from above, zenith angle from +z. Points may come in any
/// order; memory stays the same however large the grid is.
class AngleEstimate {
public:
    AngleEstimate(std::uint32_t columns, std::uint32_t rows);

    /// every: one of so many points counts
    void add(std::span<const CellPoint> points, std::size_t every = 1);

    AngleStep azimuth() const;
    AngleStep zenith() const;

private:
    /// The points of a few neighbouring columns, or rows.
    struct Bin {
        double count = 0;
        double place = 0;  // sum of the column or row numbers
        // Sums of the points' directions. Azimuth: along x and y; zenith: along z and away from it.
        double a = 0, b = 0;
    };

    std::uint32_t m_columns;
    std::uint32_t m_rows;
    std::vector<Bin> m_columnBins;
    std::vector<Bin> m_rowBins;
};

}  // namespace brisko::scan
