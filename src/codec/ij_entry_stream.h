#pragma once

#include "codec/stale_batch.h"
#include "layouts/ij_index.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace brisko {

struct Cell {
    std::uint32_t column = 0;
    std::uint32_t row = 0;
};

/// A place among the entries of a batch. Loops that take many walk a copy, which stays in registers.
struct EntryCursor {
    const std::uint32_t* next = nullptr;
    const std::uint32_t* end = nullptr;
    const std::uint32_t* begin = nullptr;    // of the batch
    const std::uint32_t* lineEnd = nullptr;  // of the last entry's column, as far as the batch goes
    std::uint32_t column = 0;                // of the last entry
    std::uint32_t rowBefore = 0;    // of the entry before the batch, were it in that column
    std::uint32_t firstEntry = 0;   // of the batch, in its tile
    std::uint32_t firstColumn = 0;  // of the tile
    std::uint32_t firstRow = 0;
    std::uint32_t tileSize = 0;
    std::uint32_t entriesSeen = 0;  // in the tile
    std::uint32_t outOfOrder = 0;   // not 0: an entry was not the next number

    /// Moves to the next cell that holds a point. Returns false when there is none, and then stands
    /// at the end of the batch.
    bool advance() {
        if (next == end) return false;
        // The word after the batch is not 0, so that the loop needs no other end.
        while (*next == 0)
            ++next;
        if (next >= lineEnd) [[unlikely]] {
            if (next == end) return false;
            enterLine();
        }
        outOfOrder |= *next ^ ++entriesSeen;
        ++next;
        return true;
    }
    /// The cell moved to.
    Cell cell() const { return {column, rowBefore + static_cast<std::uint32_t>(next - begin)}; }

    /// Moves on by so many such cells and writes them down. Returns how many the batch had.
    std::size_t walk(std::size_t most, std::uint32_t* columns, std::uint32_t* rows);

private:
    /// So that an entry costs no division.
    void enterLine() {
        const auto place = static_cast<std::uint32_t>(next - begin);
        const std::uint32_t entry = firstEntry + place;
        const std::uint32_t columnInTile = entry / tileSize, row = entry - columnInTile * tileSize;
        column = firstColumn + columnInTile;
        rowBefore = firstRow + row - place - 1;
        lineEnd = next + std::min<std::ptrdiff_t>(tileSize - row, end - next);
    }
};

/// The present entries of a grid index one after another: tiles column by column of tiles, inside a
/// tile rows fastest.
class IJEntryStream {
public:
    /// Starts a pass: rewinds the index and reads its header anew. Tiles that stand elsewhere than they
    /// say and entries that are not 1, 2, 3 ... are walked as they come, and noted as a problem when
    /// their tile ends.
    /// Returns false when the tile size is 0: such an index cannot be walked.
    bool start(std::FILE* file, FirstProblem& problem);
    /// Limits a pass that was just started to some columns of tiles, from 0.
    ///   offset  of their first tile in the file; not used where there is none
    /// Returns: false when the file cannot be read there.
    bool limit(std::uint32_t firstColumnTile, std::uint32_t endColumnTile, std::uint64_t offset);
    /// Ends the pass.
    void stop();

    const IJHeader& header() const { return m_header; }

    /// Moves to the next cell that holds a point. Returns false at the end of the index.
    bool advance() {
        while (!advanceInBatch()) {
            if (!nextBatch()) return false;
        }
        return true;
    }
    /// Moves to the next such cell of the batch. Returns false when there is none.
    bool advanceInBatch() { return m_at.advance(); }
    /// The number that the entry moved to gives its point, and the tile that it stands in, from 0.
    std::uint32_t entry() const { return m_at.next[-1]; }
    std::uint64_t tile() const { return m_tilesSeen - 1; }
    /// Notes that the entries are not those of the scan's points.
    void noteMismatch() { m_pass.noteProblem(ReadProblemKind::BadIndex, m_tileStart); }
    /// The cell moved to.
    Cell cell() const { return m_at.cell(); }

    /// For loops that take many: start at cursor(), and give take() how far they came.
    const EntryCursor& cursor() const { return m_at; }
    void take(const EntryCursor& upTo) { m_at = upTo; }

private:
    bool nextBatch();
    bool nextTile();
    void checkTile();
    void checkEnd();
    void uncover();

    EntryCursor m_at;
    std::uint32_t m_covered = 0;  // what stood after the batch
    IJHeader m_header;
    std::uint64_t m_tilesLeft = 0;
    std::uint64_t m_tilesSeen = 0;
    std::uint64_t m_tileStart = 0;        // offset of the tile in the file
    std::uint32_t m_pointsAnnounced = 0;  // by the tile
    std::uint32_t m_columnTile = 0;
    std::uint32_t m_rowTile = 0;
    std::uint32_t m_entriesLeft = 0;  // of the tile, after the batch
    std::FILE* m_file = nullptr;
    FirstProblem* m_problem = nullptr;
    bool m_isLimited = false;  // more tiles may follow
    PassLimits m_pass;
    StaleBatch m_batch;
};

}  // namespace brisko
