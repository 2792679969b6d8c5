#include <brisko_codec/cell_reader.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/point_records.h>

#include "base/bytes.h"
#include "base/checked.h"
#include "base/companion_path.h"
#include "base/file.h"
#include "base/read_errors.h"
#include "codec/cell_reader_state.h"
#include "layouts/ij_index.h"
#include "layouts/records.h"

#include <algorithm>
#include <optional>

namespace brisko {

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
    m_tiles = {};
    m_tiles.m_files = files();

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

/// Nothing where the index ends before the tile: no tile after it is there either.
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
    while (m_tiles.tiles().size() <= tile) {
        std::uint8_t bytes[ij_tile::kHeaderSize];
        const auto next = tileStart(m_tiles.tiles().size());
        if (!next || readAt(m_index.get(), *next, bytes, sizeof bytes) < sizeof bytes) return false;
        m_tiles.add(decodeIJTile(bytes).pointCount);
    }
    return true;
}

CL3TileTable::Files CL3CellReader::State::files() const {
    return {m_scanLength,  m_indexLength,     m_header.columns,
            m_header.rows, m_header.tileSize, static_cast<std::uint32_t>(m_recordSize)};
}

bool CL3CellReader::State::use(const CL3TileTable& tiles) {
    const CL3TileTable::Files mine = files(), &theirs = tiles.m_files;
    const bool isSame = mine.scanBytes == theirs.scanBytes &&
                        mine.indexBytes == theirs.indexBytes && mine.columns == theirs.columns &&
                        mine.rows == theirs.rows && mine.tileSize == theirs.tileSize &&
                        mine.recordSize == theirs.recordSize;
    if (isSame) m_tiles = tiles;
    return isSame;
}

bool CL3CellReader::State::findTiles(CL3TileTable& tiles) {
    const auto count = checkedMultiply(m_header.columnTiles(), m_rowTiles);
    if (!count || (*count > 0 && !reachTile(*count - 1))) return false;
    tiles = m_tiles;
    return true;
}

/// Whether the n-th record (from 1) lies inside its block and inside the file.
bool CL3CellReader::State::holdsRecord(std::uint64_t tile, std::uint32_t number) const {
    const CL3TileTable::Tile& place = m_tiles.tiles()[tile];
    return number <= place.points &&
           place.scanOffset + cl3_block::kHeaderSize + std::uint64_t{number} * m_recordSize <=
               m_scanLength;
}

/// Reads records of a tile from the n-th (from 1) on. Null when they cannot be read.
const std::uint8_t* CL3CellReader::State::readRecords(std::uint64_t tile, std::uint32_t number,
                                                      std::size_t count) {
    const std::uint64_t offset = m_tiles.tiles()[tile].scanOffset + cl3_block::kHeaderSize +
                                 std::uint64_t{number - 1} * m_recordSize;
    m_records.resize(count * m_recordSize);
    const std::size_t got = readAt(m_scan.get(), offset, m_records.data(), m_records.size());
    return got == m_records.size() ? m_records.data() : nullptr;
}

bool CL3CellReader::State::decode(const std::uint8_t* bytes, CellPoint& point) const {
    CL3Record record;
    if (!decode(bytes, m_recordSize, m_applied, record)) return false;
    point = toCellPoint(record);
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

bool CL3CellReader::open(const char* path, const CL3TileTable& tiles) {
    const bool opened = open(path) && orFailure([&] { return m_state->use(tiles); });
    if (!opened) close();
    return opened;
}

bool CL3CellReader::findTiles(CL3TileTable& tiles) {
    const bool found = m_state && orFailure([&] { return m_state->findTiles(tiles); });
    if (!found) tiles = {};
    return found;
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

CellState CL3CellReader::readWindow(const CellWindow& window, const CellArrays& arrays,
                                    std::uint64_t* pointCount) {
    std::uint64_t points = 0;
    CellArraysWriter out(arrays, window);
    const auto read = [&]() -> std::optional<CellState> {
        if (m_state) return m_state->readWindow(window, out, points);
        return std::nullopt;
    };
    const std::optional<CellState> state = orFailure(read);
    if (!state) {
        out.putEmptyWindow();
        points = 0;
    }
    if (pointCount) *pointCount = points;
    return state.value_or(m_state ? CellState::Damaged : CellState::Empty);
}

}  // namespace brisko
