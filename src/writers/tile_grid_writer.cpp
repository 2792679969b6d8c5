#include "writers/tile_grid_writer.h"

#include "base/companion_path.h"
#include "layouts/ij_index.h"
#include "writers/header_output.h"

#include <algorithm>
#include <limits>
#include <new>

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
    const std::uint32_t columns = header ? gridResolution(header->GetAzimuthResolution()) : 0;
    const std::uint32_t rows = header ? gridResolution(header->GetZenithResolution()) : 0;
    m_columnTiles = static_cast<std::uint32_t>(divideRoundingUp(columns, kTileSize));
    m_rowTiles = static_cast<std::uint32_t>(divideRoundingUp(rows, kTileSize));
    m_bandTiles = m_columnTiles > 0 ? m_rowTiles : 0;
    const std::uint64_t tiles = std::uint64_t{m_columnTiles} * m_rowTiles;
    if (tiles > std::numeric_limits<std::uint32_t>::max()) return false;

    const std::string scanPath = path ? path : "";
    m_alignmentPath = companionForWriting(scanPath, ".alg");
    if (scanPath.empty() || m_alignmentPath == scanPath) m_alignmentPath.clear();
    const auto* const source = dynamic_cast<const CLFileHeader*>(header);
    const CLRFileHeader plain = plainGridHeader(columns, rows);
    m_files.create(scanPath,
                   scanHeader(source ? *source : plain, static_cast<std::uint32_t>(tiles)), columns,
                   rows);
    m_failed = m_files.failed();
    m_ownBand = TileBand(scanPath);
    m_band = &m_ownBand;
    m_open = true;
    return true;
}

void TileGridWriter::writeBehind() {
    constexpr std::size_t kThreads = 2, kBands = 2;
    // Bands that wait on the disk take memory of their own when they come back.
    if (m_columnTiles < 2 || m_rowTiles > TileBand::kTilesInMemory) return;
    m_behind = std::make_unique<PiecesBehind<TileBand>>(
        kThreads, [](TileBand&) {}, [this](TileBand& band) { toFiles(band); },
        PieceCounts{.pieces = kBands});
    m_band = &m_behind->free();
}

void TileGridWriter::toFiles(TileBand& band) {
    try {
        m_files.append(band);
        m_replaced += band.takeReplaced();
        if (m_files.failed()) m_failed = true;
    } catch (const std::bad_alloc&) {
        m_failed = true;
    }
}

/// Writes out every band before the column's, or all where the grid ends first.
void TileGridWriter::moveToBandOf(std::uint32_t column) {
    while (takesBands() && m_bandIndex < m_columnTiles && column / kTileSize > m_bandIndex)
        finishBand();
    m_bandIndex = std::max(m_bandIndex, std::min(column / kTileSize, m_columnTiles));
    if (m_bandIndex >= m_columnTiles) m_bandTiles = 0;
}

void TileGridWriter::finishBand() {
    if (m_behind) {
        m_behind->give();
        m_band = &m_behind->free();
    } else {
        toFiles(*m_band);
    }
    ++m_bandIndex;
}

void TileGridWriter::append(PackedBand& band) {
    m_box.add(band.box());
    m_files.append(band);
    if (m_files.failed()) m_failed = true;
    ++m_bandIndex;
}

void TileGridWriter::close(const double (&matrix)[16]) {
    if (!m_alignmentPath.empty() &&
        !writeAlignmentFile(m_alignmentPath.c_str(), matrix, m_box.box())) {
        m_failed = true;
    }
    while (m_bandIndex < m_columnTiles && takesBands())
        finishBand();
    if (m_behind) m_behind->finish();
    m_files.close();
    if (m_files.failed()) m_failed = true;
    m_open = false;
    m_dropped = dropped();
    m_behind.reset();
    m_ownBand = TileBand();
    m_band = &m_ownBand;
}

}  // namespace brisko
