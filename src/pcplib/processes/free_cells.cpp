#include "pcplib/processes/free_cells.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace QelPcpLib {

FreeCells::FreeCells(std::uint32_t columns, std::uint32_t rows)
    : m_columns(columns),
      m_rows(rows),
      m_end(std::uint64_t{columns} * rows),
      m_pages(m_end / kPageCells + 1) {
}

std::optional<brisko::Cell> FreeCells::take(brisko::Cell wanted) {
    const std::uint64_t cell = std::uint64_t{wanted.column} * m_rows + wanted.row;
    if (isFree(cell)) return mark(cell);
    if (const auto near = inRings(wanted)) return mark(*near);
    std::uint64_t found = freeFrom(cell);
    if (found == m_end) found = freeFrom(0);
    if (found == m_end) return std::nullopt;
    return mark(found);
}

std::optional<std::uint64_t> FreeCells::inRings(brisko::Cell around) const {
    for (std::int64_t ring = 1; ring <= kFarthestRing; ++ring) {
        const std::int64_t left = std::int64_t{around.column} - ring;
        const std::int64_t top = std::int64_t{around.row} - ring;
        for (std::int64_t column = std::max<std::int64_t>(left, 0);
             column <= std::min<std::int64_t>(left + 2 * ring, m_columns - 1); ++column) {
            const bool side = column == left || column == left + 2 * ring;
            for (std::int64_t row = top; row <= top + 2 * ring; row += side ? 1 : 2 * ring) {
                if (row < 0 || row >= m_rows) continue;
                const std::uint64_t cell = static_cast<std::uint64_t>(column * m_rows + row);
                if (isFree(cell)) return cell;
            }
        }
    }
    return std::nullopt;
}

std::uint64_t FreeCells::next(std::uint64_t cell) const {
    const Page& page = m_pages[cell / kPageCells];
    return page ? page[cell % kPageCells] : cell;
}

std::uint64_t FreeCells::freeFrom(std::uint64_t cell) {
    std::uint64_t found = cell;
    while (next(found) != found)
        found = next(found);
    // The next search from a cell on the way goes straight to the end. All cells on the way are taken,
    // so their pages are there.
    while (cell != found)
        cell = std::exchange(m_pages[cell / kPageCells][cell % kPageCells], found);
    return found;
}

brisko::Cell FreeCells::mark(std::uint64_t cell) {
    Page& page = m_pages[cell / kPageCells];
    if (!page) {
        page.reset(new std::uint64_t[kPageCells]);
        std::iota(page.get(), page.get() + kPageCells, cell / kPageCells * kPageCells);
    }
    page[cell % kPageCells] = cell + 1;
    return {static_cast<std::uint32_t>(cell / m_rows), static_cast<std::uint32_t>(cell % m_rows)};
}

}  // namespace QelPcpLib
