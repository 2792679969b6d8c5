#pragma once

#include <brisko_codec/cell_reader.h>

#include <cstdint>
#include <span>

namespace brisko::scan {

/// The part of an input's grid that becomes the output's: of a window every n-th column and row,
/// counted from its first.
struct GridPart : CellWindow {
    std::uint32_t every = 1;

    std::uint32_t columns() const { return linesOf(firstColumn, endColumn); }
    std::uint32_t rows() const { return linesOf(firstRow, endRow); }

    bool holds(const CellPoint& p) const {
        const bool isInside =
            p.column >= firstColumn && p.column < endColumn && p.row >= firstRow && p.row < endRow;
        if (every == 1 || !isInside) return isInside;
        return (p.column - firstColumn) % every == 0 && (p.row - firstRow) % every == 0;
    }

    /// Gives points of this part their columns and rows in the output.
    void renumber(std::span<CellPoint> points) const {
        if (firstColumn == 0 && firstRow == 0 && every == 1) return;
        for (CellPoint& p : points) {
            p.column -= firstColumn;
            p.row -= firstRow;
            if (every == 1) continue;
            p.column /= every;
            p.row /= every;
        }
    }

private:
    std::uint32_t linesOf(std::uint32_t first, std::uint32_t end) const {
        const std::uint32_t lines = end - first;
        return lines / every + (lines % every > 0 ? 1 : 0);
    }
};

}  // namespace brisko::scan
