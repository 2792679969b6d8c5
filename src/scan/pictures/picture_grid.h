#pragma once

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/panorama.h>

#include <cstdint>
#include <span>
#include <vector>

namespace brisko::scan {

/// The mean of what fell into a cell of the picture.
struct PictureValue {
    bool isEmpty = true;
    float channels[3] = {0, 0, 0};  // range (metres) and intensity use the first
};

/// Gathered columns, or rows, side by side.
struct CellRange {
    std::uint32_t first = 0;
    std::uint32_t end = 0;

    bool operator==(const CellRange&) const = default;
};

/// Gathers a scan grid into at most a given number of columns and rows. Memory is that of the gathered
/// cells that points fell near, five bytes each as a rule (thirteen with colour), however many points
/// there are and whatever grid a header claims.
class PictureGrid {
public:
    PictureGrid(PictureMode mode, std::uint32_t columns, std::uint32_t rows,
                std::uint32_t mostColumns, std::uint32_t mostRows);

    /// Points in the scanner's frame; those outside the grid are passed over.
    void add(std::span<const CellPoint> points);

    /// The gathered columns, or rows, of a share of the grid: from 0 (column, row 0) to 1; at least one.
    CellRange columnsOf(double first, double end) const;
    CellRange rowsOf(double first, double end) const;

    /// The mean over some of the gathered cells.
    PictureValue mean(const CellRange& columns, const CellRange& rows) const;

private:
    /// A square of gathered cells; without memory until a point falls into it.
    struct Tile {
        std::vector<float> sums;
        std::vector<std::uint8_t> few;    // points in each cell, where these are few
        std::vector<std::uint32_t> many;  // where they may be many
    };

    Tile& tileAt(std::uint32_t x, std::uint32_t y);
    void addTo(std::uint32_t x, std::uint32_t y, const CellPoint& point);

    PictureMode m_mode;
    std::uint32_t m_columns;  // of the scan
    std::uint32_t m_rows;
    std::uint32_t m_width;  // of what is gathered
    std::uint32_t m_height;
    std::size_t m_channels;
    bool m_hasFew;  // points in a cell
    std::size_t m_tilesAcross;
    std::vector<Tile> m_tiles;
};

}  // namespace brisko::scan
