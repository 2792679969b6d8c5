#include <brisko_codec/cell_reader.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/point_records.h>

#include "base/bytes.h"
#include "base/checked.h"
#include "base/companion_path.h"
#include "base/file.h"
#include "base/or_failure.h"
#include "codec/alignment_file.h"
#include "layouts/cl3_record.h"
#include "layouts/ij_index.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace brisko {

class CL3CellReader::State {
public:
    bool open(const char* path);

    const IJHeader& header() const { return m_header; }
    std::uint64_t endColumn() const { return m_columnEnd; }
    std::uint64_t endRow() const { return m_rowEnd; }
    const Alignment& alignment() const { return m_alignment; }
    void setFrame(Frame frame);

    CellState readCell(std::uint32_t column, std::uint32_t row, CellPoint& point);
    CellState readWindow(const CellWindow& window, std::vector<CellPoint>& points);

private:
    std::uint64_t tileOf(std::uint32_t column, std::uint32_t row) const;
    std::optional<std::uint64_t> tileStart(std::uint64_t tile) const;
    std::optional<std::uint64_t> entryOffset(std::uint64_t tile, std::uint32_t column,
                                             std::uint32_t row) const;
    bool reachTile(std::uint64_t tile);
    CellState readRun(std::uint32_t column, std::uint32_t row, std::uint32_t rows,
                      std::vector<CellPoint>& points);
    const std::uint8_t* readRecords(std::uint64_t tile, std::uint32_t number, std::size_t count);
    bool holdsRecord(std::uint64_t tile, std::uint32_t number) const;
    bool decode(const std::uint8_t* bytes, CellPoint& point) const;

    FilePtr m_scan;
    FilePtr m_index;
    IJHeader m_header;
    std::uint64_t m_rowTiles = 0;
    std::uint64_t m_columnEnd = 0;  // behind the last column that has an entry, padding included
    std::uint64_t m_rowEnd = 0;
    std::size_t m_recordSize = 0;
    std::uint64_t m_scanLength = 0;
    std::uint64_t m_indexLength = 0;
    Alignment m_alignment;
    AlignmentMatrix m_fileMatrix;
    AlignmentMatrix m_applied;
    // Where the blocks of the tiles passed so far begin, and one entry for the block behind them.
    std::vector<std::uint64_t> m_blockStarts;
    std::vector<std::uint32_t> m_entries;  // of a run
    std::vector<std::uint8_t> m_records;   // of a run
};

bool CL3CellReader::State::open(const char* path) {
    m_scan = openFile(path, "rb");
    if (!m_scan) return false;
    m_index = openFile(companionForReading(path, ".ij").c_str(), "rb");
    if (!m_index) return false;

    CL3FileHeader scanHeader;
    scanHeader.Read(m_scan.get());
    const auto record = createCL3Point(scanHeader.GetPointFormat());
    m_header = readIJHeader(m_index.get());
    if (!record || m_header.tileSize == 0 || m_header.tileSize > kLargestTileSize) return false;
    m_recordSize = record->GetSize();
    m_rowTiles = m_header.rowTiles();
    m_columnEnd = m_header.columnTiles() * m_header.tileSize;
    m_rowEnd = m_rowTiles * m_header.tileSize;
    m_scanLength = fileLength(m_scan.get());
    m_indexLength = fileLength(m_index.get());
    m_blockStarts.assign(1, cl3_header::kSize);

    m_alignment.source = loadAlignment(companionForReading(path, ".alg"), m_fileMatrix);
    std::copy(m_fileMatrix.rows().begin(), m_fileMatrix.rows().end(), m_alignment.matrix);
    setFrame(Frame::Aligned);
    return true;
}

void CL3CellReader::State::setFrame(Frame frame) {
    m_applied = frame == Frame::Scanner ? AlignmentMatrix::none() : m_fileMatrix;
}

std::uint64_t CL3CellReader::State::tileOf(std::uint32_t column, std::uint32_t row) const {
    return column / m_header.tileSize * m_rowTiles + row / m_header.tileSize;
}

/// Nothing where the index ends before the tile: no tile behind it is there either.
std::optional<std::uint64_t> CL3CellReader::State::tileStart(std::uint64_t tile) const {
    const auto before = checkedMultiply(tile, ijTileBytes(m_header.tileSize));
    if (!before || m_indexLength < ij_header::kSize) return std::nullopt;
    if (*before >= m_indexLength - ij_header::kSize) return std::nullopt;
    return ij_header::kSize + *before;
}

std::optional<std::uint64_t> CL3CellReader::State::entryOffset(std::uint64_t tile,
                                                               std::uint32_t column,
                                                               std::uint32_t row) const {
    const auto start = tileStart(tile);
    if (!start) return std::nullopt;
    return *start + ij_tile::kHeaderSize +
           kEntrySize * ijEntryIndex(column, row, m_header.tileSize);
}

/// Learns where the tile's block begins and ends, from the point counts of all tiles before it.
/// Returns false where the index does not reach that far.
bool CL3CellReader::State::reachTile(std::uint64_t tile) {
    while (m_blockStarts.size() <= tile + 1) {
        std::uint8_t bytes[ij_tile::kHeaderSize];
        const auto known = tileStart(m_blockStarts.size() - 1);
        if (!known || readAt(m_index.get(), *known, bytes, sizeof bytes) < sizeof bytes) {
            return false;
        }
        const std::uint64_t points = decodeIJTile(bytes).pointCount;
        m_blockStarts.push_back(m_blockStarts.back() + cl3_block::kHeaderSize +
                                points * m_recordSize);
    }
    return true;
}

/// Whether the n-th record (from 1) lies inside its block and inside the file.
bool CL3CellReader::State::holdsRecord(std::uint64_t tile, std::uint32_t number) const {
    const std::uint64_t end =
        m_blockStarts[tile] + cl3_block::kHeaderSize + std::uint64_t{number} * m_recordSize;
    return end <= m_blockStarts[tile + 1] && end <= m_scanLength;
}

/// Reads records of a tile from the n-th (from 1) on. Null when they cannot be read.
const std::uint8_t* CL3CellReader::State::readRecords(std::uint64_t tile, std::uint32_t number,
                                                      std::size_t count) {
    const std::uint64_t offset =
        m_blockStarts[tile] + cl3_block::kHeaderSize + std::uint64_t{number - 1} * m_recordSize;
    m_records.resize(count * m_recordSize);
    const std::size_t got = readAt(m_scan.get(), offset, m_records.data(), m_records.size());
    return got == m_records.size() ? m_records.data() : nullptr;
}

/// Returns false for a record without a point, which the other readers pass over too.
bool CL3CellReader::State::decode(const std::uint8_t* bytes, CellPoint& point) const {
    CL3Record record;
    decodeCL3Position(bytes, record);
    if (!isMeasured(record)) return false;
    if (m_recordSize == cl3_record::kSize1) decodeCL3Colour(bytes, record);
    m_applied.apply(record.x, record.y, record.z);
    point.x = record.x;
    point.y = record.y;
    point.z = record.z;
    point.intensity = record.intensity;
    point.red = record.red;
    point.green = record.green;
    point.blue = record.blue;
    return true;
}

CellState CL3CellReader::State::readCell(std::uint32_t column, std::uint32_t row,
                                         CellPoint& point) {
    if (column >= m_columnEnd || row >= m_rowEnd) return CellState::Empty;
    std::uint8_t entry[kEntrySize];
    const std::uint64_t tile = tileOf(column, row);
    const auto offset = entryOffset(tile, column, row);
    if (!offset || readAt(m_index.get(), *offset, entry, kEntrySize) < kEntrySize) {
        return CellState::Damaged;
    }
    const std::uint32_t number = loadU32(entry);
    if (number == 0) return CellState::Empty;
    if (!reachTile(tile) || !holdsRecord(tile, number)) return CellState::Damaged;
    const std::uint8_t* const record = readRecords(tile, number, 1);
    if (!record) return CellState::Damaged;
    CellPoint found;
    if (!decode(record, found)) return CellState::Empty;
    found.column = column;
    found.row = row;
    point = found;
    return CellState::Point;
}

/// Reads the cells of a column from a row on, all in one tile.
CellState CL3CellReader::State::readRun(std::uint32_t column, std::uint32_t row, std::uint32_t rows,
                                        std::vector<CellPoint>& points) {
    const std::uint64_t tile = tileOf(column, row);
    const auto offset = entryOffset(tile, column, row);
    if (!offset) return CellState::Damaged;
    m_entries.resize(rows);
    const std::size_t bytes = rows * kEntrySize;
    if (readAt(m_index.get(), *offset, m_entries.data(), bytes) < bytes) return CellState::Damaged;
    const auto isPresent = [](std::uint32_t entry) { return entry != 0; };
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
        if (m_entries[i] == 0) continue;
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

namespace {

/// A lack of memory ends the reading of a cell like damage does.
template <class Read>
CellState orDamaged(const Read& read) {
    const auto state = orFailure([&] { return std::optional(read()); });
    return state.value_or(CellState::Damaged);
}

}  // namespace

CL3CellReader::CL3CellReader() = default;
CL3CellReader::~CL3CellReader() = default;

bool CL3CellReader::open(const char* path) {
    const bool opened = orFailure([&] {
        m_state = std::make_unique<State>();
        return path && m_state->open(path);
    });
    if (!opened) close();
    return opened;
}

void CL3CellReader::close() {
    m_state.reset();
}

std::uint32_t CL3CellReader::columns() const {
    return m_state ? m_state->header().columns : 0;
}
std::uint32_t CL3CellReader::rows() const {
    return m_state ? m_state->header().rows : 0;
}

std::uint64_t CL3CellReader::endColumn() const {
    return m_state ? m_state->endColumn() : 0;
}
std::uint64_t CL3CellReader::endRow() const {
    return m_state ? m_state->endRow() : 0;
}

const Alignment& CL3CellReader::alignment() const {
    static const Alignment kNone;
    return m_state ? m_state->alignment() : kNone;
}

void CL3CellReader::setFrame(Frame frame) {
    if (m_state) m_state->setFrame(frame);
}

CellState CL3CellReader::readCell(std::uint32_t column, std::uint32_t row, CellPoint& point) {
    if (!m_state) return CellState::Empty;
    return orDamaged([&] { return m_state->readCell(column, row, point); });
}

CellState CL3CellReader::readWindow(const CellWindow& window, std::vector<CellPoint>& points) {
    points.clear();
    if (!m_state) return CellState::Empty;
    return orDamaged([&] { return m_state->readWindow(window, points); });
}

}  // namespace brisko
