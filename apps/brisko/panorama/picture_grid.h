#pragma once

#include <brisko_codec/cell_reader.h>

#include <cstdint>
#include <span>
#include <vector>

namespace brisko::tool {

/// What a picture shows of a point.
enum class PictureMode { Range, Intensity, Colour };

/// The mean of what fell into a cell of the picture.
struct PictureValue {
    bool isEmpty = true;
    float channels[3] = {0, 0, 0};  // range (metres) and intensity use the first
};

/// Gathers a scan grid into at most a given number of columns and rows. Memory is that of the
/// gathered cells, however many points there are.
class PictureGrid {
public:
    PictureGrid(PictureMode mode, std::uint32_t columns, std::uint32_t rows,
                std::uint32_t mostColumns, std::uint32_t mostRows);

    /// Points in the scanner's frame; those outside the grid are passed over.
    void add(std::span<const CellPoint> points);

    /// The mean over a share of the grid: from 0 (column, row 0) to 1. Narrower shares than a
    /// gathered cell give the cell that they lie in.
    PictureValue mean(double firstColumn, double endColumn, double firstRow, double endRow) const;

private:
    void addTo(std::size_t cell, const CellPoint& point);

    PictureMode m_mode;
    std::uint32_t m_columns;  // of the scan
    std::uint32_t m_rows;
    std::uint32_t m_width;  // of what is gathered
    std::uint32_t m_height;
    std::size_t m_channels;
    std::vector<float> m_sums;
    std::vector<std::uint32_t> m_counts;
};

}  // namespace brisko::tool
