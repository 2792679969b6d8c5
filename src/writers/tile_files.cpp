#include "writers/tile_files.h"

#include "base/bytes.h"
#include "base/companion_path.h"
#include "layouts/ij_index.h"
#include "writers/header_output.h"

namespace brisko {

void TileFiles::create(const std::string& path, const CL3FileHeader& header, std::uint32_t columns,
                       std::uint32_t rows) {
    m_header = header;
    m_columns = columns;
    m_rows = rows;
    m_rowTiles = static_cast<std::uint32_t>(divideRoundingUp(rows, kTileSize));
    m_block =
        std::make_unique_for_overwrite<std::uint8_t[]>(cl3_block::kHeaderSize + Tile::kRecordBytes);
    m_entries.resize(ij_tile::kHeaderSize / kEntrySize + kTileCells);
    const std::string indexPath = companionForWriting(path, ".ij");
    if (!m_scan.create(path.c_str())) m_failed = true;
    // A companion of the scan's own name would overwrite it; a scan without a name has none.
    const bool mayHaveIndex = !path.empty() && indexPath != path;
    if (!mayHaveIndex || !m_index.create(indexPath.c_str())) m_failed = true;

    writeScanHeader(m_scan, m_header, cl3_header::kSize);
    std::uint8_t bytes[ij_header::kSize];
    encodeIJHeader({m_header.GetBlockCount(), m_columns, m_rows, kTileSize}, bytes);
    if (m_index.isOpen()) m_index.append(bytes);
}

void TileFiles::append(TileBand& band) {
    for (std::uint32_t rowTile = 0; rowTile < m_rowTiles && takesTiles(); ++rowTile)
        encodeTile(band, rowTile);
    band.finish();
    ++m_bandIndex;
}

void TileFiles::append(const PackedBand& band) {
    for (std::uint32_t rowTile = 0; rowTile < m_rowTiles && takesTiles(); ++rowTile) {
        const PackedTile* const tile = band.tile(rowTile);
        const std::uint32_t points = tile ? tile->points() : 0;
        if (points > 0) tile->encodeEntries(entries());
        appendTile(rowTile, points > 0 ? tile->block() : m_block.get(), points);
    }
    ++m_bandIndex;
}

void TileFiles::encodeTile(TileBand& band, std::uint32_t rowTile) {
    Tile* const tile = band.tile(rowTile, m_failed);
    std::uint32_t points = 0;
    if (tile) {
        points = tile->encode(m_block.get() + cl3_block::kHeaderSize, entries());
        tile->clear();
        band.countWritten(points);
    }
    appendTile(rowTile, m_block.get(), points);
}

/// Writes a tile whose records lie in the block, and whose entries are made where it has points.
void TileFiles::appendTile(std::uint32_t rowTile, std::uint8_t* block, std::uint32_t points) {
    if (m_scan.isOpen()) {
        const std::uint32_t written = appendBlock(block, points);
        if (written < points) forgetEntriesAfter(written);
        points = written;
    }
    if (m_index.isOpen()) appendIndexTile(rowTile, points);
}

/// Makes the cells empty whose points did not reach the disk.
void TileFiles::forgetEntriesAfter(std::uint32_t lastPoint) {
    for (std::uint32_t& entry : m_entries) {
        if (entry > lastPoint) entry = 0;
    }
}

/// Returns how many of the points reached the disk; all of them unless the disk is full.
std::uint32_t TileFiles::appendBlock(std::uint8_t* block, std::uint32_t points) {
    const std::uint64_t start = m_scan.position();
    const std::uint64_t records = start + cl3_block::kHeaderSize;
    storeU32(block + cl3_block::kPointCount, points);
    block[cl3_block::kFlag] = 0;
    m_scan.append({block, cl3_block::kHeaderSize + points * cl3_record::kSize1});
    m_scan.flush();
    if (m_scan.onDisk() < records) return 0;
    ++m_blocksOnDisk;
    if (!m_scan.failed()) return points;
    const auto whole = static_cast<std::uint32_t>((m_scan.onDisk() - records) / cl3_record::kSize1);
    storeU32(block + cl3_block::kPointCount, whole);
    m_scan.patch(start, {block, cl3_block::kHeaderSize});
    return whole;
}

void TileFiles::appendIndexTile(std::uint32_t rowTile, std::uint32_t points) {
    auto* const bytes = reinterpret_cast<std::uint8_t*>(m_entries.data());
    encodeIJTile({m_bandIndex, rowTile, points}, bytes);
    if (points == 0) {
        m_index.append({bytes, ij_tile::kHeaderSize});
        m_index.appendZeros(kTileCells * kEntrySize);
    } else {
        m_index.append({bytes, ij_tile::kHeaderSize + kTileCells * kEntrySize});
    }
    m_index.flush();
    if (!m_index.failed()) ++m_indexTilesOnDisk;
}

void TileFiles::close() {
    if (m_scan.failed() || m_index.failed()) correctBlockCounts();
    if (m_scan.isOpen() && !m_scan.close()) m_failed = true;
    if (m_index.isOpen() && !m_index.close()) m_failed = true;
}

/// Lets the headers of files that could not be completed count what they hold.
void TileFiles::correctBlockCounts() {
    m_header.SetBlockCount(m_blocksOnDisk);
    writeScanHeader(m_scan, m_header, cl3_header::kSize);
    std::uint8_t bytes[ij_header::kSize];
    encodeIJHeader({m_indexTilesOnDisk, m_columns, m_rows, kTileSize}, bytes);
    m_index.patch(0, bytes);
}

}  // namespace brisko
