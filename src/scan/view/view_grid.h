#pragma once

#include "scan/view/view_points.h"

#include <memory>
#include <vector>

namespace brisko::scan {

/// An even part of a grid: column i of `kept` is column (2 i + 1) * all / (2 kept) of the scan, cut, and
/// rows likewise. A point is its range, and how far its angles are off those of its column and row,
/// which are averages over the points. Packed, in this order, all little-endian:
///   azimuth of each kept column and zenith of each kept row, kViewAngle, signed 32-bit
///   one bit a cell, column by column, low bit first: whether there is a point
///   of the points, as BytePlanes: range (4), azimuth and zenith off (3 each), intensity (2), colour
/// Ranges are the difference to what their neighbours suggest, angles zigzag numbers.
class ViewGrid : public ViewPoints {
public:
    /// Of a grid of so many columns and rows, at most `most` cells are kept.
    ViewGrid(std::uint32_t columns, std::uint32_t rows, std::uint64_t most);

    void add(const CellPoint& point) override;
    void write(PackedText& text) override;
    std::string members() const override;
    std::uint64_t kept() const override { return m_kept; }

private:
    struct Cell {
        std::uint32_t range = 0;               // kViewLength; 0 where there is no point
        std::int32_t azimuth = 0, zenith = 0;  // kViewAngle
        ViewValues values;
    };
    /// Allocated when its first point comes.
    using Column = std::unique_ptr<Cell[]>;

    std::vector<std::int32_t> averageAzimuths() const;
    std::vector<std::int32_t> averageZeniths() const;
    void writePresence(PackedText& text) const;
    std::uint32_t expectedRange(std::uint32_t column, std::uint32_t row, std::uint32_t last) const;
    template <class Visit>
    void forEachPoint(const Visit& visit) const;

    std::uint32_t m_allColumns, m_allRows;
    std::vector<Column> m_cells;
    std::uint64_t m_kept = 0;
    bool m_hasColour = false;
};

}  // namespace brisko::scan
