#pragma once

#include <brisko_codec/cell_reader.h>

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace brisko::scan {

/// A scan's grid, and what it is gathered into: at most as many columns and rows.
struct GatherShape {
    std::uint32_t columns = 0, rows = 0;  // of the scan
    std::uint32_t width = 0, height = 0;  // of what is gathered
    std::uint32_t bandColumns = 1;        // in whose order points come (ScanInfo)
};

/// What of a point is gathered.
enum class GatheredValue { Position, Intensity, Colour };

/// The mean of what fell into a gathered cell: x, y, z; or red, green, blue; or the intensity, first.
struct GatheredCell {
    std::array<float, 3> values{};
    std::uint32_t count = 0;  // of points; 0: the cell is empty
};

/// Gathers the points of a scan into columns of a picture's cells. Points come band after band; a column
/// is complete when they have moved on to a later one. Memory is that of a band's columns in which points
/// lie, whatever grid a header claims.
class GatheredColumns {
public:
    GatheredColumns(const GatherShape& shape, GatheredValue value);

    /// Points in the scanner's frame. Those outside of the grid, in columns given back, and those whose
    /// values are no measurement are passed over.
    void add(std::span<const CellPoint> points);
    /// No further points come.
    void end() { m_complete = m_shape.width; }

    /// Columns before it are complete.
    std::uint32_t complete() const { return m_complete; }
    /// The cells of a complete column, row by row; empty where no point fell into it. To be called once.
    std::vector<GatheredCell> take(std::uint32_t column);

private:
    template <GatheredValue value>
    void addValues(std::span<const CellPoint> points);

    GatherShape m_shape;
    GatheredValue m_value;
    double m_acrossStep, m_downStep;  // gathered cells a cell of the scan
    std::uint32_t m_complete = 0;
    std::vector<std::vector<GatheredCell>> m_columns;
};

}  // namespace brisko::scan
