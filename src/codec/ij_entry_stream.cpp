#include "codec/ij_entry_stream.h"

#include "base/file.h"

#include <utility>

namespace brisko {

std::size_t EntryCursor::walk(std::size_t most, std::uint32_t* columns, std::uint32_t* rows) {
    EntryCursor at = *this;  // the words that are written might be its own
    std::size_t count = 0;
    for (; count < most && at.advance(); ++count) {
        const Cell cell = at.cell();
        columns[count] = cell.column;
        rows[count] = cell.row;
    }
    *this = at;
    return count;
}

bool IJEntryStream::start(std::FILE* file, FirstProblem& problem) {
    stop();
    m_file = file;
    m_problem = &problem;
    m_isLimited = false;
    std::clearerr(file);  // an error of an earlier pass is not one of this
    if (!seekTo(file, ij_header::kSize, problem.readErrors())) return false;
    m_header = readIJHeader(file, problem.readErrors());
    m_pass.start(file, ij_header::kSize, problem, FirstProblem::kIndex);
    // Beyond the largest edge the count of a tile's entries wraps around: there are none.
    const bool walkable = m_header.tileSize != 0 && m_header.tileSize <= kLargestTileSize;
    if (!walkable) m_pass.noteProblem(ReadProblemKind::BadIndex, ij_header::kTileSize);
    if (m_header.tileSize == 0) return false;
    m_tilesLeft = walkable ? m_header.columnTiles() * m_header.rowTiles() : 0;
    if (m_tilesLeft != m_header.blockCount) {
        m_pass.noteProblem(ReadProblemKind::BadIndex, ij_header::kBlockCount);
    }
    m_at.tileSize = m_header.tileSize;
    m_batch.start(kEntrySize, sizeof(std::uint32_t));
    return true;
}

bool IJEntryStream::limit(std::uint32_t firstColumnTile, std::uint32_t endColumnTile,
                          std::uint64_t offset) {
    m_isLimited = true;
    m_columnTile = firstColumnTile;
    m_tilesSeen = firstColumnTile * m_header.rowTiles();
    m_tilesLeft = (endColumnTile - firstColumnTile) * m_header.rowTiles();
    if (m_tilesLeft == 0) return true;
    m_pass.start(m_file, offset, *m_problem, FirstProblem::kIndex);
    return seekTo(m_file, offset, m_problem->readErrors());
}

void IJEntryStream::stop() {
    m_at = {};
    m_header = {};
    m_tilesLeft = m_tilesSeen = m_tileStart = 0;
    m_pointsAnnounced = 0;
    m_columnTile = m_rowTile = 0;
    m_entriesLeft = 0;
}

bool IJEntryStream::nextBatch() {
    if (m_entriesLeft == 0 && !nextTile()) return false;
    const std::uint32_t tileEntries = m_header.tileSize * m_header.tileSize;
    m_at.firstEntry = tileEntries - m_entriesLeft;
    uncover();
    const std::size_t entries = m_batch.fill(m_pass, m_entriesLeft);
    if (entries == 0) {
        stop();
        return false;
    }
    m_entriesLeft -= static_cast<std::uint32_t>(entries);
    // Buffers from the heap are aligned for words, and the items fill them without gaps.
    auto* const words = reinterpret_cast<std::uint32_t*>(m_batch.data());
    m_covered = std::exchange(words[entries], 1);
    m_at.begin = m_at.next = words;
    m_at.end = words + entries;
    m_at.lineEnd = words;
    return true;
}

/// A larger batch that the file cannot fill shows again what stood after this one.
void IJEntryStream::uncover() {
    if (m_at.end)
        reinterpret_cast<std::uint32_t*>(m_batch.data())[m_at.end - m_at.begin] = m_covered;
}

bool IJEntryStream::nextTile() {
    checkTile();
    if (m_tilesLeft == 0) {
        checkEnd();
        return false;
    }
    --m_tilesLeft;
    ++m_tilesSeen;
    m_at.firstColumn = m_columnTile * m_header.tileSize;
    m_at.firstRow = m_rowTile * m_header.tileSize;
    m_tileStart = m_pass.position();
    std::uint8_t bytes[ij_tile::kHeaderSize] = {};
    m_pass.read(bytes, sizeof bytes);
    // The tile's place in the file says which tile it is, whatever it says itself.
    const IJTile tile = decodeIJTile(bytes);
    if (tile.columnTile != m_columnTile || tile.rowTile != m_rowTile) noteMismatch();
    m_pointsAnnounced = tile.pointCount;
    m_at.entriesSeen = m_at.outOfOrder = 0;
    if (++m_rowTile == m_header.rowTiles()) {
        m_rowTile = 0;
        ++m_columnTile;
    }
    m_entriesLeft = m_header.tileSize * m_header.tileSize;
    return true;
}

/// The entries of a tile number its points 1, 2, 3 ... and are as many as it announces.
void IJEntryStream::checkTile() {
    if (m_at.outOfOrder != 0 || m_at.entriesSeen != m_pointsAnnounced) noteMismatch();
    m_pointsAnnounced = m_at.entriesSeen = m_at.outOfOrder = 0;
}

void IJEntryStream::checkEnd() {
    if (m_isLimited || m_pass.atEnd()) return;
    m_pass.noteProblem(ReadProblemKind::LeftOver, m_pass.position());
}

}  // namespace brisko
