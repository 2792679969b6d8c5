#include "writers/tile_grid_writer.h"

#include "base/companion_path.h"
#include "writers/header_output.h"

#include <algorithm>
#include <limits>

namespace brisko {
namespace {

/// The scan header for a grid of which nothing but its size is known.
CLRFileHeader plainGridHeader(std::uint32_t columns, std::uint32_t rows) {
    CLRFileHeader header;
    header.SetAzimuthResolution(static_cast<int>(columns));
    header.SetZenithResolution(static_cast<int>(rows));
    header.SetStopAzimuthAngle(90.0F);
    header.SetStopZenithAngle(90.0F);
    return header;
}

CL3FileHeader scanHeader(const CLFileHeader& source, std::uint32_t blocks) {
    CL3FileHeader header;
    static_cast<CLFileHeader&>(header) = source;
    header.SetFileVersion("CL3_0.7");
    header.SetPointFormat(static_cast<std::uint8_t>(CL3PointFormat::Coloured));
    header.SetBlockCount(blocks);
    header.SetDeltaAzimuthAngle(source.GetDeltaAzimuthAngle());
    header.SetDeltaZenithAngle(source.GetDeltaZenithAngle());
    return header;
}

}  // namespace

bool TileGridWriter::open(const char* path, const GridFileHeader* header) {
    m_columns = header ? gridResolution(header->GetAzimuthResolution()) : 0;
    m_rows = header ? gridResolution(header->GetZenithResolution()) : 0;
    m_columnTiles = static_cast<std::uint32_t>(divideRoundingUp(m_columns, kTileSize));
    m_rowTiles = static_cast<std::uint32_t>(divideRoundingUp(m_rows, kTileSize));
    m_bandTiles = m_columnTiles > 0 ? m_rowTiles : 0;
    const std::uint64_t tiles = std::uint64_t{m_columnTiles} * m_rowTiles;
    if (tiles > std::numeric_limits<std::uint32_t>::max()) return false;

    const auto* const source = dynamic_cast<const CLFileHeader*>(header);
    const CLRFileHeader plain = plainGridHeader(m_columns, m_rows);
    m_header = scanHeader(source ? *source : plain, static_cast<std::uint32_t>(tiles));
    m_block =
        std::make_unique_for_overwrite<std::uint8_t[]>(cl3_block::kHeaderSize + Tile::kRecordBytes);
    m_entries.resize(ij_tile::kHeaderSize / kEntrySize + kTileCells);
    createFiles(path);
    writeHeaders();
    m_open = true;
    return true;
}

void TileGridWriter::createFiles(const char* path) {
    const std::string scanPath = path ? path : "";
    const std::string indexPath = companionForWriting(scanPath, ".ij");
    m_alignmentPath = companionForWriting(scanPath, ".alg");
    m_band = TileBand(scanPath);
    if (!m_scan.create(path)) m_failed = true;
    // A companion of the scan's own name would overwrite it; a scan without a name has none.
    const bool mayHaveIndex = !scanPath.empty() && indexPath != scanPath;
    if (!mayHaveIndex || !m_index.create(indexPath.c_str())) m_failed = true;
    if (scanPath.empty() || m_alignmentPath == scanPath) m_alignmentPath.clear();
}

void TileGridWriter::writeHeaders() {
    writeScanHeader(m_scan, m_header, cl3_header::kSize);
    std::uint8_t bytes[ij_header::kSize];
    encodeIJHeader({m_header.GetBlockCount(), m_columns, m_rows, kTileSize}, bytes);
    if (m_index.isOpen()) m_index.append(bytes);
}

/// Whether there is a file that tiles can go to, and none that failed.
bool TileGridWriter::takesTiles() const {
    return (m_scan.isOpen() || m_index.isOpen()) && !m_scan.failed() && !m_index.failed();
}

/// Writes out every band before the column's, or all where the grid ends first.
void TileGridWriter::moveToBandOf(std::uint32_t column) {
    while (takesTiles() && m_bandIndex < m_columnTiles && column / kTileSize > m_bandIndex)
        finishBand(m_band);
    m_bandIndex = std::max(m_bandIndex, std::min(column / kTileSize, m_columnTiles));
    if (m_bandIndex >= m_columnTiles) m_bandTiles = 0;
}

void TileGridWriter::finishBand(TileBand& band) {
    for (std::uint32_t rowTile = 0; rowTile < m_rowTiles && takesTiles(); ++rowTile)
        writeTile(band, rowTile);
    band.finish();
    ++m_bandIndex;
}

void TileGridWriter::append(TileBand& band, const PointsBox& box) {
    const std::uint64_t before = band.replaced();
    m_box.add(box);
    finishBand(band);
    m_dropped.replaced += band.replaced() - before;
}

void TileGridWriter::writeTile(TileBand& band, std::uint32_t rowTile) {
    Tile* const tile = band.tile(rowTile, m_failed);
    std::uint32_t points = 0;
    if (tile) {
        std::uint32_t* const entries = m_entries.data() + ij_tile::kHeaderSize / kEntrySize;
        points = tile->encode(m_block.get() + cl3_block::kHeaderSize, entries);
        tile->clear();
        band.countWritten(points);
    }
    if (m_scan.isOpen()) {
        const std::uint32_t written = appendBlock(points);
        if (written < points) forgetEntriesAfter(written);
        points = written;
    }
    if (m_index.isOpen()) appendIndexTile(rowTile, points);
}

/// Makes the cells empty whose points did not reach the disk.
void TileGridWriter::forgetEntriesAfter(std::uint32_t lastPoint) {
    for (std::uint32_t& entry : m_entries) {
        if (entry > lastPoint) entry = 0;
    }
}

/// Returns how many of the points reached the disk; all of them unless the disk is full.
std::uint32_t TileGridWriter::appendBlock(std::uint32_t points) {
    const std::uint64_t start = m_scan.position();
    const std::uint64_t records = start + cl3_block::kHeaderSize;
    storeU32(m_block.get() + cl3_block::kPointCount, points);
    m_block[cl3_block::kFlag] = 0;
    m_scan.append({m_block.get(), cl3_block::kHeaderSize + points * cl3_record::kSize1});
    m_scan.flush();
    if (m_scan.onDisk() < records) return 0;
    ++m_blocksOnDisk;
    if (!m_scan.failed()) return points;
    const auto whole = static_cast<std::uint32_t>((m_scan.onDisk() - records) / cl3_record::kSize1);
    storeU32(m_block.get() + cl3_block::kPointCount, whole);
    m_scan.patch(start, {m_block.get(), cl3_block::kHeaderSize});
    return whole;
}

void TileGridWriter::appendIndexTile(std::uint32_t rowTile, std::uint32_t points) {
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

void TileGridWriter::close(const double (&matrix)[16]) {
    if (!m_alignmentPath.empty() &&
        !writeAlignmentFile(m_alignmentPath.c_str(), matrix, m_box.box())) {
        m_failed = true;
    }
    while (m_bandIndex < m_columnTiles && takesTiles())
        finishBand(m_band);
    if (m_scan.failed() || m_index.failed()) correctBlockCounts();
    if (m_scan.isOpen() && !m_scan.close()) m_failed = true;
    if (m_index.isOpen() && !m_index.close()) m_failed = true;
    m_open = false;
    m_dropped = dropped();
    m_band = TileBand();
}

/// Lets the headers of files that could not be completed count what they hold.
void TileGridWriter::correctBlockCounts() {
    m_header.SetBlockCount(m_blocksOnDisk);
    writeScanHeader(m_scan, m_header, cl3_header::kSize);
    std::uint8_t bytes[ij_header::kSize];
    encodeIJHeader({m_indexTilesOnDisk, m_columns, m_rows, kTileSize}, bytes);
    m_index.patch(0, bytes);
}

}  // namespace brisko
