#include "codec/actual_cl3_codec.h"

#include <brisko_codec/file_header.h>

#include "base/companion_path.h"

#include <algorithm>

namespace brisko {

ActualCL3Codec::~ActualCL3Codec() = default;

bool ActualCL3Codec::Open(const char* path) {
    if (ActualBriskoCodec::Open(path) && orProblem([&] { return openIndex(path); })) return true;
    Close();
    return false;
}

/// Returns whether reading can go on without or with what was found.
bool ActualCL3Codec::openIndex(const char* path) {
    const std::string name = companionForReading(path, ".ij");
    if (!name.empty() && !m_indexIgnored) {
        m_indexFile = openFile(name.c_str(), "rb", m_problem.readErrors());
    }
    if (!m_indexFile) return m_indexOptional;
    const IJHeader header = readIJHeader(m_indexFile.get(), m_problem.readErrors());
    m_columns = static_cast<std::int32_t>(header.columns);
    m_rows = static_cast<std::int32_t>(header.rows);
    m_tileSize = header.tileSize;
    return true;
}

void ActualCL3Codec::Close() {
    m_indexFile.reset();
    m_records.stop();
    m_entries.stop();
    m_walkingIndex = false;
    ActualBriskoCodec::Close();
}

bool ActualCL3Codec::Rewind() {
    m_records.stop();
    m_entries.stop();
    m_walkingIndex = false;
    m_endedInStep = true;
    if (!ActualBriskoCodec::Rewind()) return false;
    CL3FileHeader header;
    readHeader(stream(), header);
    std::unique_ptr<CLPoint> record = createCL3Point(header.GetPointFormat());
    if (!record) {
        m_problem.note(ReadProblemKind::BadHeader, FirstProblem::kScan, 0);
        return false;
    }
    m_record = std::move(record);
    m_hasColour = m_record->GetSize() == cl3_record::kSize1;
    if (m_indexFile) {
        m_walkingIndex = m_entries.start(m_indexFile.get(), m_problem);
        // An index without a tile size cannot be walked; where it is optional it is left aside.
        if (!m_walkingIndex && !m_indexOptional) return false;
        m_columns = static_cast<std::int32_t>(m_entries.header().columns);
        m_rows = static_cast<std::int32_t>(m_entries.header().rows);
        m_tileSize = m_entries.header().tileSize;
    }
    m_records.start(stream(), m_record->GetSize(), header.GetBlockCount(), m_problem);
    if (m_range && m_walkingIndex && !startRange(header.GetBlockCount())) {
        m_problem.note(ReadProblemKind::BadIndex, FirstProblem::kIndex, ij_header::kBlockCount);
        return false;
    }
    if (m_walkingIndex && m_entries.header().blockCount != header.GetBlockCount()) {
        m_problem.note(ReadProblemKind::BadIndex, FirstProblem::kIndex, ij_header::kBlockCount);
    }
    return true;
}

/// Brings both streams to the first tile of the range. False where the table of tiles is not that of the
/// scan.
bool ActualCL3Codec::startRange(std::uint32_t blocks) {
    const IJHeader& grid = m_entries.header();
    const std::uint64_t columnTiles = grid.columnTiles(), rowTiles = grid.rowTiles();
    if (!m_tiles || m_tiles->tiles().size() != blocks || columnTiles * rowTiles != blocks) {
        return false;
    }
    const auto end = std::min(divideRoundingUp(m_range->end, grid.tileSize), columnTiles);
    const auto first = std::min<std::uint64_t>(m_range->first / grid.tileSize, end);
    const bool isEmpty = first * rowTiles == blocks;
    const CL3TileTable::Tile start =
        isEmpty ? CL3TileTable::Tile{} : m_tiles->tiles()[first * rowTiles];
    return m_records.limit(static_cast<std::uint32_t>(first * rowTiles),
                           static_cast<std::uint32_t>(end * rowTiles), start.scanOffset) &&
           m_entries.limit(static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(end),
                           start.indexOffset);
}

/// Blocks and tiles go in step: the n-th record of a block has the entry n of its tile. Inside a batch
/// the entries follow each other, so it is enough to look where one begins.
void ActualCL3Codec::compareWithEntry() {
    if (m_entries.tile() != m_records.block() || m_entries.entry() != m_records.numberInBlock()) {
        m_entries.noteMismatch();
    }
}

void ActualCL3Codec::endOutOfStep() {
    m_endedInStep = false;
    m_entries.noteMismatch();
}

CLPoint* ActualCL3Codec::NextRecord(unsigned& column, unsigned& row) {
    if (!m_records.advance()) {
        if (m_walkingIndex && m_entries.advance()) endOutOfStep();
        return nullptr;
    }
    m_record->Decode(m_records.record());
    Cell cell;
    if (m_walkingIndex) {
        if (!m_entries.advance()) {
            endOutOfStep();
            return nullptr;
        }
        compareWithEntry();
        cell = m_entries.cell();
    }
    column = cell.column;
    row = cell.row;
    return m_record.get();
}

bool ActualCL3Codec::ReadNextGridPoint(double& x, double& y, double& z, float& intensity,
                                       std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                       std::uint8_t& alpha, unsigned& column, unsigned& row) {
    CL3Record record;
    Cell cell;
    const std::uint8_t* const in = takeFromBatch(record, cell);
    if (!in) [[unlikely]] {
        return ActualBriskoCodec::ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha,
                                                    column, row);
    }
    x = record.x;
    y = record.y;
    z = record.z;
    intensity = record.intensity;
    getColour(in, red, green, blue);
    alpha = 255;
    column = cell.column;
    row = cell.row;
    return true;
}

/// Takes the records of the batch up to the first without a point, all but their cells. This goes fastest
/// with everything that does not change in locals: the caller's arrays of bytes might overlap any member.
/// Returns the place in the arrays after the last point.
std::size_t ActualCL3Codec::takeRecords(const PointArraysWriter& out, std::size_t first,
                                        std::size_t capacity) {
    const std::uint8_t* in = m_records.next();
    const std::uint8_t* const end = m_records.end();
    const std::size_t recordSize = m_records.recordSize();
    const bool hasColour = m_hasColour;
    const AlignmentMatrix matrix = applied();
    const PointArraysWriter arrays = out;
    std::size_t i = first;
    for (; i < capacity && in != end; ++i, in += recordSize) {
        CL3Record record;
        decodeCL3Position(in, record);
        if (!isMeasured(record)) [[unlikely]]
            break;
        if (hasColour) decodeCL3Colour(in, record);
        matrix.apply(record.x, record.y, record.z);
        arrays.put(i, record.x, record.y, record.z, record.intensity);
        arrays.putColour(i, record.red, record.green, record.blue);
    }
    m_records.take(in);
    return i;
}

/// The short way for arrays: takes some points while the batches at hand hold them and their cells. The cells
/// are found first and wait on the stack, so that nothing is written for a point that is not taken.
/// Returns the place in the arrays after the last point; the first one where the general way has to go on.
std::size_t ActualCL3Codec::takeRun(const PointArraysWriter& out, std::size_t first,
                                    std::size_t capacity) {
    if (!m_walkingIndex) {
        const std::size_t end = takeRecords(out, first, capacity);
        out.putCells(first, end - first, nullptr, nullptr);
        return end;
    }
    constexpr std::size_t kMost = 256;
    std::uint32_t columns[kMost], rows[kMost];
    EntryCursor entries = m_entries.cursor();
    const std::size_t cells = entries.walk(std::min(capacity - first, kMost), columns, rows);
    const std::size_t end = takeRecords(out, first, first + cells);
    if (end - first < cells) {
        entries = m_entries.cursor();
        entries.walk(end - first, columns, rows);
    }
    m_entries.take(entries);
    out.putCells(first, end - first, columns, rows);
    return end;
}

std::size_t ActualCL3Codec::readBatch(const PointArrays& arrays, std::size_t capacity) {
    const PointArraysWriter out(arrays);
    std::size_t count = 0;
    while (count < capacity) {
        if (const std::size_t end = takeRun(out, count, capacity); end > count) {
            count = end;
            continue;
        }
        CL3Record record;
        std::uint8_t alpha = 0;
        Cell cell;
        if (!ActualBriskoCodec::ReadNextGridPoint(record.x, record.y, record.z, record.intensity,
                                                  record.red, record.green, record.blue, alpha,
                                                  cell.column, cell.row)) {
            break;
        }
        out.put(count, record.x, record.y, record.z, record.intensity);
        out.putColour(count, record.red, record.green, record.blue);
        out.putCell(count, cell.column, cell.row);
        ++count;
    }
    return count;
}

ActualCL3NoIjCodec::ActualCL3NoIjCodec() {
    m_reader.makeIndexOptional();
}
ActualCL3NoIjCodec::~ActualCL3NoIjCodec() = default;

bool ActualCL3NoIjCodec::Open(const char* path) {
    return m_reader.Open(path);
}
void ActualCL3NoIjCodec::Close() {
    m_reader.Close();
}
std::int64_t ActualCL3NoIjCodec::GetPointCount() {
    return m_reader.GetPointCount();
}

void ActualCL3NoIjCodec::GetBounds(double& minX, double& minY, double& minZ, double& maxX,
                                   double& maxY, double& maxZ, std::int64_t& count) {
    m_reader.GetBounds(minX, minY, minZ, maxX, maxY, maxZ, count);
}

bool ActualCL3NoIjCodec::ReadFirstPoint(double& x, double& y, double& z, float& intensity,
                                        std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                        std::uint8_t& alpha) {
    return m_reader.ReadFirstPoint(x, y, z, intensity, red, green, blue, alpha);
}

bool ActualCL3NoIjCodec::ReadNextPoint(double& x, double& y, double& z, float& intensity,
                                       std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                       std::uint8_t& alpha) {
    return m_reader.ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
}

std::size_t ActualCL3NoIjCodec::readBatch(const PointArrays& arrays, std::size_t capacity) {
    return m_reader.readBatch(arrays, capacity);
}

}  // namespace brisko
