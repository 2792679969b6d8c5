#pragma once

#include "codec/stale_batch.h"
#include "layouts/ij_index.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace brisko {

struct Cell {
    std::uint32_t column = 0;
    std::uint32_t row = 0;
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
    /// Moves to the next such cell of the batch. Returns false when there is none, and then stands
    /// at the end of the batch.
    bool advanceInBatch() {
        if (m_next == m_end) return false;
        // The word after the batch is not 0, so that the loop needs no other end.
        while (*m_next == 0)
            ++m_next;
        if (m_next == m_end) return false;
        m_outOfOrder |= *m_next ^ ++m_entriesSeen;
        ++m_next;
        return true;
    }
    /// The number that the entry moved to gives its point, and the tile that it stands in, from 0.
    std::uint32_t entry() const { return m_next[-1]; }
    std::uint64_t tile() const { return m_tilesSeen - 1; }
    /// Notes that the entries are not those of the scan's points.
    void noteMismatch() { m_pass.noteProblem(ReadProblemKind::BadIndex, m_tileStart); }

    /// The cell moved to.
    Cell cell() const {
        const auto entry = m_firstEntry + static_cast<std::uint32_t>(m_next - m_begin) - 1;
        const std::uint32_t column = m_shift != 0 ? entry >> m_shift : entry / m_header.tileSize;
        return {m_firstColumn + column, m_firstRow + entry - column * m_header.tileSize};
    }

private:
    bool nextBatch();
    bool nextTile();
    void checkTile();
    void checkEnd();
    void uncover();

    const std::uint32_t* m_next = nullptr;
    const std::uint32_t* m_end = nullptr;
    const std::uint32_t* m_begin = nullptr;  // of the batch
    std::uint32_t m_covered = 0;             // what stood after the batch
    std::uint32_t m_firstEntry = 0;          // of the batch, in its tile
    std::uint32_t m_firstColumn = 0;         // of the tile
    std::uint32_t m_firstRow = 0;
    unsigned m_shift = 0;  // log2 of the tile size; 0 where that is no power of two above 1
    IJHeader m_header;
    std::uint64_t m_tilesLeft = 0;
    std::uint64_t m_tilesSeen = 0;
    std::uint64_t m_tileStart = 0;        // offset of the tile in the file
    std::uint32_t m_pointsAnnounced = 0;  // by the tile
    std::uint32_t m_entriesSeen = 0;      // in the tile
    std::uint32_t m_outOfOrder = 0;       // not 0: an entry was not the next number
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
