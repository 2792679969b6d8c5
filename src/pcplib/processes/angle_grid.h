#pragma once

#include "codec/ij_entry_stream.h"

#include <brisko_codec/file_header.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace QelPcpLib {

/// The scan grid as the angles of a header describe it: azimuth counter-clockwise from +x, zenith angle
/// from +z, degrees. Headers whose vertical angles leave 0 to 180 speak of elevations above the
/// horizon instead.
class AngleGrid {
public:
    /// Nothing when the header gives no usable grid: no step, no span, or numbers that are not finite.
    static std::optional<AngleGrid> fromHeader(const CL3FileHeader& header);

    std::uint32_t columns() const { return m_azimuth.count; }
    std::uint32_t rows() const { return m_vertical.count; }

    /// The cell in whose direction a point lies, metres in the scanner's frame; the nearest cell of
    /// the grid's edge for one outside of it.
    brisko::Cell cellOf(double x, double y, double z) const;

private:
    struct Axis {
        double start = 0;  // degrees, of step 0
        double step = 1;   // degrees, with its sign
        std::uint32_t count = 0;

        std::uint32_t nearest(double offset) const;
    };
    static Axis axis(float start, float stop, float step, std::size_t count);

    Axis m_azimuth;
    Axis m_vertical;
    bool m_isElevation = false;
};

/// The cells of a band that hold no point yet, for points that share one.
class FreeCells {
public:
    FreeCells(std::uint32_t columns, std::uint32_t rows);

    /// Takes a cell (columns from the band's first), or the nearest free one where it is taken: found
    /// by rings of growing size, and beyond kFarthestRing by following the columns. Nothing when the
    /// band is full.
    std::optional<brisko::Cell> take(brisko::Cell wanted);

private:
    static constexpr std::int64_t kFarthestRing = 16;

    /// A page comes when a cell of it is taken: memory goes with the points, not with the grid.
    static constexpr std::uint64_t kPageCells = 256;
    using Page = std::unique_ptr<std::uint64_t[]>;

    std::uint64_t next(std::uint64_t cell) const;
    bool isFree(std::uint64_t cell) const { return next(cell) == cell; }
    std::optional<std::uint64_t> inRings(brisko::Cell around) const;
    std::uint64_t freeFrom(std::uint64_t cell);
    brisko::Cell mark(std::uint64_t cell);

    std::uint32_t m_columns;
    std::uint32_t m_rows;
    std::uint64_t m_end;  // after the last cell; stands for "none"
    // For each cell a cell further on at which to look for a free one; itself where it is free, and
    // on all of a page that is not there.
    std::vector<Page> m_pages;
};

}  // namespace QelPcpLib
