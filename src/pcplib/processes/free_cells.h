#pragma once

#include "codec/ij_entry_stream.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace QelPcpLib {

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
