#include "base/file.h"
#include "codec/cell_reader_state.h"

#include <algorithm>
#include <limits>

namespace brisko {

namespace {

bool isPresent(std::uint32_t entry) {
    return entry != 0;
}

}  // namespace

/// Reads the cells of a column from a row on, all in one tile.
CellState CL3CellReader::State::readRun(std::uint32_t column, std::uint32_t row, std::uint32_t rows,
                                        std::vector<CellPoint>& points) {
    const std::uint64_t tile = tileOf(column, row);
    const auto offset = entryOffset(tile, column, row);
    if (!offset) return CellState::Damaged;
    m_entries.resize(rows);
    const std::size_t bytes = rows * kEntrySize;
    if (readAt(m_index.get(), *offset, m_entries.data(), bytes) < bytes) return CellState::Damaged;
    const auto present = std::count_if(m_entries.begin(), m_entries.end(), isPresent);
    if (present == 0) return CellState::Empty;
    if (!reachTile(tile)) return CellState::Damaged;

    // In a sound index the numbers of a run follow each other: its records are read at once.
    const std::uint32_t first = *std::find_if(m_entries.begin(), m_entries.end(), isPresent);
    const auto last = static_cast<std::uint64_t>(first) + static_cast<std::uint64_t>(present) - 1;
    if (last > std::numeric_limits<std::uint32_t>::max() ||
        !holdsRecord(tile, static_cast<std::uint32_t>(last))) {
        return CellState::Damaged;
    }
    const std::uint8_t* record = readRecords(tile, first, static_cast<std::size_t>(present));
    if (!record) return CellState::Damaged;
    std::uint32_t expected = first;
    for (std::uint32_t i = 0; i < rows; ++i) {
        if (!isPresent(m_entries[i])) continue;
        if (m_entries[i] != expected++) return CellState::Damaged;
        CellPoint point;
        if (decode(record, point)) {
            point.column = column;
            point.row = row + i;
            points.push_back(point);
        }
        record += m_recordSize;
    }
    return CellState::Point;
}

/// Reads the entries from the first cell of a part to its last one, those of other rows in between
/// included. Returns the place of the first cell's entry among its tile's; nothing when it fails.
std::optional<std::size_t> CL3CellReader::State::readEntries(const Part& part) {
    const std::uint32_t edge = m_header.tileSize;
    const auto offset =
        entryOffset(tileOf(part.firstColumn, part.firstRow), part.firstColumn, part.firstRow);
    if (!offset) return std::nullopt;
    const auto first = ijEntryIndex(part.firstColumn, part.firstRow, edge);
    const auto last = ijEntryIndex(part.endColumn - 1, part.endRow - 1, edge);
    m_entries.resize(static_cast<std::size_t>(last - first + 1));
    const std::size_t bytes = m_entries.size() * kEntrySize;
    if (readAt(m_index.get(), *offset, m_entries.data(), bytes) < bytes) return std::nullopt;
    return static_cast<std::size_t>(first);
}

/// Writes the cells of a part whose records follow each other. This goes fastest with everything in locals:
/// the caller's arrays of bytes might overlap any member.
/// Returns the number of points.
std::uint64_t CL3CellReader::State::putPart(const Part& part, const std::uint8_t* record,
                                            const CellArraysWriter& out) const {
    CellArraysWriter cells = out;
    const AlignmentMatrix applied = m_applied;
    const std::size_t recordSize = m_recordSize;
    const std::uint32_t rows = part.endRow - part.firstRow;
    const std::uint32_t* entry = m_entries.data();
    std::uint64_t points = 0;
    for (std::uint32_t column = part.firstColumn; column < part.endColumn; ++column) {
        cells.seek(column, part.firstRow);
        for (const std::uint32_t* const end = entry + rows; entry != end; ++entry) {
            CL3Record point;
            if (isPresent(*entry) && decode(record, recordSize, applied, point)) {
                cells.put(point);
                ++points;
            } else {
                cells.putEmpty();
            }
            if (isPresent(*entry)) record += recordSize;
        }
        if (column + 1 == part.endColumn) break;
        for (const std::uint32_t* const end = entry + (m_header.tileSize - rows); entry != end;
             ++entry) {
            if (isPresent(*entry)) record += recordSize;
        }
    }
    return points;
}

/// Delivers a part with two reads. False, with its cells in any state, unless all of its entries follow
/// each other and their records are there.
bool CL3CellReader::State::takePart(const Part& part, const CellArraysWriter& out,
                                    std::uint64_t& points) {
    if (!readEntries(part)) return false;
    const auto firstEntry = std::find_if(m_entries.begin(), m_entries.end(), isPresent);
    const std::uint32_t first = firstEntry == m_entries.end() ? 0 : *firstEntry;
    // Without branches: which cells are empty cannot be foreseen.
    std::uint32_t present = 0, outOfOrder = 0;
    for (const std::uint32_t entry : m_entries) {
        outOfOrder |= isPresent(entry) ? entry ^ (first + present) : 0;
        present += isPresent(entry) ? 1 : 0;
    }
    const std::uint64_t tile = tileOf(part.firstColumn, part.firstRow);
    const std::uint8_t* record = nullptr;
    if (present > 0) {
        const std::uint64_t last = std::uint64_t{first} + present - 1;
        const bool isSound = outOfOrder == 0 && last <= std::numeric_limits<std::uint32_t>::max() &&
                             reachTile(tile) && holdsRecord(tile, static_cast<std::uint32_t>(last));
        record = isSound ? readRecords(tile, first, present) : nullptr;
        if (!record) return false;
    }
    points += putPart(part, record, out);
    return true;
}

/// Delivers a part of some tile; where it is damaged, cell by cell.
CellState CL3CellReader::State::readPart(const Part& part, CellArraysWriter& out,
                                         std::uint64_t& points) {
    const std::uint64_t before = points;
    if (takePart(part, out, points)) return CellState::Point;
    points = before;
    bool damaged = false;
    for (std::uint32_t column = part.firstColumn; column < part.endColumn; ++column) {
        for (std::uint32_t row = part.firstRow; row < part.endRow; ++row) {
            CellPoint point;
            const CellState state = readCell(column, row, point);
            damaged |= state == CellState::Damaged;
            out.seek(column, row);
            if (state == CellState::Point) {
                out.put(point);
                ++points;
            } else {
                out.putEmpty();
            }
        }
    }
    return damaged ? CellState::Damaged : CellState::Point;
}

CellState CL3CellReader::State::readWindow(const CellWindow& window, CellArraysWriter& out,
                                           std::uint64_t& points) {
    // Entries that are read at once, those of unwanted rows included: a quarter of a megabyte.
    constexpr std::uint32_t kMostEntries = 65'536;
    const std::uint32_t edge = m_header.tileSize;
    const auto nextTile = [edge](std::uint64_t at) { return (at / edge + 1) * edge; };
    const auto endColumn = std::min<std::uint64_t>(window.endColumn, m_columnEnd);
    const auto endRow = std::min<std::uint64_t>(window.endRow, m_rowEnd);
    bool damaged = false;
    for (std::uint64_t column = window.firstColumn; column < window.endColumn;) {
        std::uint64_t partEnd = column + 1;
        std::uint64_t row = window.firstRow;
        if (column < endColumn) {
            const std::uint64_t most = column + std::max(1U, kMostEntries / edge);
            partEnd = std::min({nextTile(column), endColumn, most});
            while (row < endRow) {
                const std::uint64_t rowEnd = std::min(nextTile(row), endRow);
                // A narrow strip takes one read a column.
                const bool isNarrow = (rowEnd - row) * 8 < edge;
                for (std::uint64_t first = column; first < partEnd;) {
                    const std::uint64_t end = isNarrow ? first + 1 : partEnd;
                    const Part part{
                        static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(end),
                        static_cast<std::uint32_t>(row), static_cast<std::uint32_t>(rowEnd)};
                    damaged |= readPart(part, out, points) == CellState::Damaged;
                    first = end;
                }
                row = rowEnd;
            }
        }
        for (; column < partEnd; ++column)
            out.putEmptyFrom(static_cast<std::uint32_t>(column), row);
    }
    if (damaged) return CellState::Damaged;
    return points == 0 ? CellState::Empty : CellState::Point;
}

CellState CL3CellReader::State::readWindow(const CellWindow& window,
                                           std::vector<CellPoint>& points) {
    const std::uint32_t tileSize = m_header.tileSize;
    const auto endColumn = std::min<std::uint64_t>(window.endColumn, m_columnEnd);
    const auto endRow = std::min<std::uint64_t>(window.endRow, m_rowEnd);
    if (window.firstRow >= endRow) return CellState::Empty;
    bool damaged = false;
    const auto isMissing = [this](std::uint64_t column, std::uint64_t row) {
        return !tileStart(
            tileOf(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row)));
    };
    for (std::uint64_t column = window.firstColumn; column < endColumn; ++column) {
        for (std::uint64_t row = window.firstRow; row < endRow;) {
            if (isMissing(column, row)) {
                damaged = true;
                break;
            }
            const std::uint64_t tileEnd = (row / tileSize + 1) * tileSize;
            const std::uint64_t runEnd = std::min(tileEnd, endRow);
            damaged |=
                readRun(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row),
                        static_cast<std::uint32_t>(runEnd - row), points) == CellState::Damaged;
            row = runEnd;
        }
        // An index may announce 2^64 tiles and hold none.
        if (isMissing(column, window.firstRow)) break;
    }
    if (damaged) return CellState::Damaged;
    return points.empty() ? CellState::Empty : CellState::Point;
}

}  // namespace brisko
