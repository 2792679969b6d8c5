#include <brisko_codec/alignment.h>
#include <brisko_codec/writers.h>

#include "base/bytes.h"
#include "base/companion_path.h"
#include "base/output_file.h"
#include "layouts/ij_index.h"
#include "writers/header_output.h"
#include "writers/tile_band.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <vector>

using namespace brisko;

namespace {

/// The box around all points that were passed in. A NaN replaces both ends of its axis, and goes
/// again when the next number comes: deliberate, as files on disk were made that way.
void widen(AlignmentBox& box, const double (&point)[3]) {
    for (int axis = 0; axis < 3; ++axis) {
        const double v = point[axis];
        box.max[axis] = box.max[axis] >= v ? box.max[axis] : v;
        box.min[axis] = v >= box.min[axis] ? box.min[axis] : v;
    }
}

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

/// The open files, shared by the copies of a writer.
class CL3IJWriterGridCodec::State {
public:
    bool open(const char* path, const GridFileHeader* header);
    bool isOpen() const { return m_open; }
    bool failed() const { return m_failed || m_scan.failed() || m_index.failed(); }
    void write(const CL3Record& record, std::uint32_t column, std::uint32_t row);
    void close(const double (&matrix)[16]);
    DroppedPoints dropped() const {
        DroppedPoints all = m_dropped;
        all.replaced += m_band.replaced();
        return all;
    }

private:
    void createFiles(const char* path);
    void writeHeaders();
    void writeIndexHeader(std::uint32_t blocks);
    bool takesTiles() const;
    void moveToBandOf(std::uint32_t column);
    void finishBand();
    void writeTile(std::uint32_t rowTile);
    std::uint32_t appendBlock(std::uint32_t points);
    void forgetEntriesAfter(std::uint32_t lastPoint);
    void appendIndexTile(std::uint32_t rowTile, std::uint32_t points);
    void correctBlockCounts();

    bool m_open = false;
    bool m_failed = false;
    std::string m_alignmentPath;
    OutputFile m_scan;
    OutputFile m_index;
    CL3FileHeader m_header;
    std::uint32_t m_columns = 0;
    std::uint32_t m_rows = 0;
    std::uint32_t m_columnTiles = 0;
    std::uint32_t m_rowTiles = 0;
    std::uint32_t m_bandIndex = 0;  // band b covers columns 256 b to 256 b + 255
    std::uint32_t m_bandTiles = 0;  // of that band; 0 after the grid's end
    TileBand m_band;
    AlignmentBox m_box;
    std::unique_ptr<std::uint8_t[]> m_block;  // block header and records of a tile
    std::vector<std::uint32_t> m_entries;     // tile header and entries of a tile
    std::uint32_t m_blocksOnDisk = 0;
    std::uint32_t m_indexTilesOnDisk = 0;
    DroppedPoints m_dropped;
};

bool CL3IJWriterGridCodec::State::open(const char* path, const GridFileHeader* header) {
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

void CL3IJWriterGridCodec::State::createFiles(const char* path) {
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

void CL3IJWriterGridCodec::State::writeHeaders() {
    writeScanHeader(m_scan, m_header, cl3_header::kSize);
    std::uint8_t bytes[ij_header::kSize];
    encodeIJHeader({m_header.GetBlockCount(), m_columns, m_rows, kTileSize}, bytes);
    if (m_index.isOpen()) m_index.append(bytes);
}

inline void CL3IJWriterGridCodec::State::write(const CL3Record& record, std::uint32_t column,
                                               std::uint32_t row) {
    if (!m_open) return;
    widen(m_box, {record.x, record.y, record.z});
    // As a signed number: columns from 2^31 on count as after the band.
    auto offset = static_cast<std::int32_t>(column - kTileSize * m_bandIndex);
    if (offset < 0 || offset >= static_cast<std::int32_t>(kTileSize)) [[unlikely]] {
        const bool isBeyond = column / kTileSize >= m_columnTiles;
        if (offset < 0) {
            ++(isBeyond ? m_dropped.outsideGrid : m_dropped.bandPassed);
            return;
        }
        moveToBandOf(column);
        offset = static_cast<std::int32_t>(column - kTileSize * m_bandIndex);
    }
    if (row / kTileSize >= m_bandTiles) [[unlikely]] {
        ++m_dropped.outsideGrid;
        return;
    }
    const bool counts = isMeasured(record);
    if (!counts) [[unlikely]]
        ++m_dropped.wouldReadAsEmpty;
    if (!m_band.put(static_cast<std::uint32_t>(offset), row, record, counts)) m_failed = true;
}

/// Whether there is a file that tiles can go to, and none that failed.
bool CL3IJWriterGridCodec::State::takesTiles() const {
    return (m_scan.isOpen() || m_index.isOpen()) && !m_scan.failed() && !m_index.failed();
}

/// Writes out every band before the column's, or all where the grid ends first.
void CL3IJWriterGridCodec::State::moveToBandOf(std::uint32_t column) {
    while (takesTiles() && m_bandIndex < m_columnTiles && column / kTileSize > m_bandIndex)
        finishBand();
    m_bandIndex = std::max(m_bandIndex, std::min(column / kTileSize, m_columnTiles));
    if (m_bandIndex >= m_columnTiles) m_bandTiles = 0;
}

void CL3IJWriterGridCodec::State::finishBand() {
    for (std::uint32_t rowTile = 0; rowTile < m_rowTiles && takesTiles(); ++rowTile)
        writeTile(rowTile);
    m_band.finish();
    ++m_bandIndex;
}

void CL3IJWriterGridCodec::State::writeTile(std::uint32_t rowTile) {
    Tile* const tile = m_band.tile(rowTile, m_failed);
    std::uint32_t points = 0;
    if (tile) {
        std::uint32_t* const entries = m_entries.data() + ij_tile::kHeaderSize / kEntrySize;
        points = tile->encode(m_block.get() + cl3_block::kHeaderSize, entries);
        tile->clear();
        m_band.countWritten(points);
    }
    if (m_scan.isOpen()) {
        const std::uint32_t written = appendBlock(points);
        if (written < points) forgetEntriesAfter(written);
        points = written;
    }
    if (m_index.isOpen()) appendIndexTile(rowTile, points);
}

/// Makes the cells empty whose points did not reach the disk.
void CL3IJWriterGridCodec::State::forgetEntriesAfter(std::uint32_t lastPoint) {
    for (std::uint32_t& entry : m_entries) {
        if (entry > lastPoint) entry = 0;
    }
}

/// Returns how many of the points reached the disk; all of them unless the disk is full.
std::uint32_t CL3IJWriterGridCodec::State::appendBlock(std::uint32_t points) {
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

void CL3IJWriterGridCodec::State::appendIndexTile(std::uint32_t rowTile, std::uint32_t points) {
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

void CL3IJWriterGridCodec::State::close(const double (&matrix)[16]) {
    if (!m_alignmentPath.empty() && !writeAlignmentFile(m_alignmentPath.c_str(), matrix, m_box)) {
        m_failed = true;
    }
    while (m_bandIndex < m_columnTiles && takesTiles())
        finishBand();
    if (m_scan.failed() || m_index.failed()) correctBlockCounts();
    if (m_scan.isOpen() && !m_scan.close()) m_failed = true;
    if (m_index.isOpen() && !m_index.close()) m_failed = true;
    m_open = false;
    m_dropped = dropped();
    m_band = TileBand();
}

/// Lets the headers of files that could not be completed count what they hold.
void CL3IJWriterGridCodec::State::correctBlockCounts() {
    m_header.SetBlockCount(m_blocksOnDisk);
    writeScanHeader(m_scan, m_header, cl3_header::kSize);
    std::uint8_t bytes[ij_header::kSize];
    encodeIJHeader({m_indexTilesOnDisk, m_columns, m_rows, kTileSize}, bytes);
    m_index.patch(0, bytes);
}

CL3IJWriterGridCodec::CL3IJWriterGridCodec() = default;
CL3IJWriterGridCodec::CL3IJWriterGridCodec(const CL3IJWriterGridCodec&) = default;
CL3IJWriterGridCodec& CL3IJWriterGridCodec::operator=(const CL3IJWriterGridCodec&) = default;
CL3IJWriterGridCodec::~CL3IJWriterGridCodec() = default;

bool CL3IJWriterGridCodec::Open(const char* path, GridFileHeader* header) {
    Close();
    try {
        m_state = std::make_shared<State>();
        return m_state->open(path, header);
    } catch (const std::bad_alloc&) {
        m_state.reset();
        return false;
    }
}

bool CL3IJWriterGridCodec::Close() {
    if (!m_state || !m_state->isOpen()) return false;
    m_state->close(m_matrix);
    return true;
}

void CL3IJWriterGridCodec::WritePoint(double x, double y, double z, float intensity,
                                      std::uint8_t red, std::uint8_t green, std::uint8_t blue,
                                      std::uint8_t, std::uint32_t column, std::uint32_t row) {
    if (m_state) m_state->write({x, y, z, intensity, red, green, blue}, column, row);
}

bool CL3IJWriterGridCodec::HasWriteError() const {
    return m_state && m_state->failed();
}

DroppedPoints CL3IJWriterGridCodec::GetDroppedPoints() const {
    return m_state ? m_state->dropped() : DroppedPoints{};
}
