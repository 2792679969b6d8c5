#include <brisko_codec/cell_reader.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/point_records.h>

#include "base/bytes.h"
#include "base/checked.h"
#include "base/companion_path.h"
#include "base/file.h"
#include "base/read_errors.h"
#include "codec/alignment.h"
#include "layouts/cell_point.h"
#include "layouts/ij_index.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

namespace brisko {

namespace {

/// A place in the arrays of a caller, where the cells of a window go one after the other.
class CellArraysWriter {
public:
    CellArraysWriter(const CellArrays& arrays, const CellWindow& window)
        : m_arrays(arrays), m_window(window) {}

    /// Goes to a cell of the window.
    void seek(std::uint32_t column, std::uint32_t row) {
        const auto c = static_cast<std::ptrdiff_t>(column - m_window.firstColumn);
        const auto r = static_cast<std::ptrdiff_t>(row - m_window.firstRow);
        m_position = at(m_arrays.positions, c, r);
        m_intensity = at(m_arrays.intensities, c, r);
        m_colour = at(m_arrays.colours, c, r);
        m_present = at(m_arrays.present, c, r);
    }
    /// Writes a cell and goes to the next row.
    void put(const CL3Record& record) {
        const double position[] = {record.x, record.y, record.z};
        const std::uint8_t colour[] = {record.red, record.green, record.blue};
        write(position, record.intensity, colour, 1);
    }
    void putEmpty() {
        const auto& [coordinate, intensity, one] = m_arrays.empty;
        const double position[] = {coordinate, coordinate, coordinate};
        const std::uint8_t colour[] = {one, one, one};
        write(position, intensity, colour, 0);
    }
    /// The cells of a column from a row on.
    void putEmptyFrom(std::uint32_t column, std::uint64_t row) {
        if (row >= m_window.endRow) return;
        seek(column, static_cast<std::uint32_t>(row));
        while (row++ < m_window.endRow)
            putEmpty();
    }
    void putEmptyWindow() {
        for (std::uint32_t column = m_window.firstColumn; column < m_window.endColumn; ++column)
            putEmptyFrom(column, m_window.firstRow);
    }

private:
    static std::uint8_t* at(const CellArrays::Array& array, std::ptrdiff_t column,
                            std::ptrdiff_t row) {
        if (!array.start) return nullptr;
        return static_cast<std::uint8_t*>(array.start) + column * array.columnStride +
               row * array.rowStride;
    }
    void write(const double (&position)[3], float intensity, const std::uint8_t (&colour)[3],
               std::uint8_t present) {
        if (m_position) {
            std::memcpy(m_position, position, sizeof position);
            m_position += m_arrays.positions.rowStride;
        }
        if (m_intensity) {
            std::memcpy(m_intensity, &intensity, sizeof intensity);
            m_intensity += m_arrays.intensities.rowStride;
        }
        if (m_colour) {
            std::memcpy(m_colour, colour, sizeof colour);
            m_colour += m_arrays.colours.rowStride;
        }
        if (m_present) {
            *m_present = present;
            m_present += m_arrays.present.rowStride;
        }
    }

    const CellArrays m_arrays;
    const CellWindow m_window;
    std::uint8_t* m_position = nullptr;
    std::uint8_t* m_intensity = nullptr;
    std::uint8_t* m_colour = nullptr;
    std::uint8_t* m_present = nullptr;
};

}  // namespace

class CL3CellReader::State {
public:
    bool open(const char* path);
    /// Takes a table over; false when it is that of other files.
    bool use(const CL3TileTable& tiles);
    bool findTiles(CL3TileTable& tiles);

    const IJHeader& header() const { return m_header; }
    std::uint64_t endColumn() const { return m_columnEnd; }
    std::uint64_t endRow() const { return m_rowEnd; }
    const Alignment& alignment() const { return m_alignment; }
    void setFrame(Frame frame);

    CellState readCell(std::uint32_t column, std::uint32_t row, CellPoint& point);
    CellState readWindow(const CellWindow& window, std::vector<CellPoint>& points);
    CellState readWindow(const CellWindow& window, CellArraysWriter& out, std::uint64_t& points);

private:
    /// Cells of one tile, whole runs of rows.
    struct Part {
        std::uint32_t firstColumn, endColumn;
        std::uint32_t firstRow, endRow;
    };

    CL3TileTable::Files files() const;
    CellState readPart(const Part& part, CellArraysWriter& out, std::uint64_t& points);
    bool takePart(const Part& part, CellArraysWriter& out, std::uint64_t& points);
    std::optional<std::size_t> readEntries(const Part& part);
    std::uint64_t tileOf(std::uint32_t column, std::uint32_t row) const;
    std::optional<std::uint64_t> tileStart(std::uint64_t tile) const;
    std::optional<std::uint64_t> entryOffset(std::uint64_t tile, std::uint32_t column,
                                             std::uint32_t row) const;
    bool reachTile(std::uint64_t tile);
    CellState readRun(std::uint32_t column, std::uint32_t row, std::uint32_t rows,
                      std::vector<CellPoint>& points);
    const std::uint8_t* readRecords(std::uint64_t tile, std::uint32_t number, std::size_t count);
    bool holdsRecord(std::uint64_t tile, std::uint32_t number) const;
    bool decode(const std::uint8_t* bytes, CL3Record& record) const;
    bool decode(const std::uint8_t* bytes, CellPoint& point) const;

    FilePtr m_scan;
    FilePtr m_index;
    IJHeader m_header;
    std::uint64_t m_rowTiles = 0;
    std::uint64_t m_columnEnd = 0;  // after the last column that has an entry, padding included
    std::uint64_t m_rowEnd = 0;
    std::size_t m_recordSize = 0;
    std::uint64_t m_scanLength = 0;
    std::uint64_t m_indexLength = 0;
    Alignment m_alignment;
    AlignmentMatrix m_fileMatrix;
    AlignmentMatrix m_applied;
    CL3TileTable m_tiles;                  // those passed so far
    std::vector<std::uint32_t> m_entries;  // of a part
    std::vector<std::uint8_t> m_records;   // of a part
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

/// Returns false for a record without a point, which the other readers pass over too.
inline bool CL3CellReader::State::decode(const std::uint8_t* bytes, CL3Record& record) const {
    decodeCL3Position(bytes, record);
    if (!isMeasured(record)) return false;
    if (m_recordSize == cl3_record::kSize1) decodeCL3Colour(bytes, record);
    m_applied.apply(record.x, record.y, record.z);
    return true;
}

bool CL3CellReader::State::decode(const std::uint8_t* bytes, CellPoint& point) const {
    CL3Record record;
    if (!decode(bytes, record)) return false;
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

/// Reads the entries from the first cell of a part to its last one, those of other rows in between
/// included. Returns the place of the first cell's entry among its tile's; nothing when it fails.
std::optional<std::size_t> CL3CellReader::State::readEntries(const Part& part) {
    const std::uint32_t edge = m_header.tileSize;
    const auto offset =
        entryOffset(tileOf(part.firstColumn, part.firstRow), part.firstColumn, part.firstRow);
    if (!offset) return std::nullopt;
    const auto first = ijEntryIndex(part.firstColumn, part.firstRow, edge);
    const auto last = ijEntryIndex(part.endColumn - 1, part.endRow - 1, edge);
    m_entries.resize(static_cast<std::size_t>(last - first + 1));
    const std::size_t bytes = m_entries.size() * kEntrySize;
    if (readAt(m_index.get(), *offset, m_entries.data(), bytes) < bytes) return std::nullopt;
    return static_cast<std::size_t>(first);
}

/// Delivers a part with two reads. False, with its cells in any state, unless all of its entries follow
/// each other and their records are there.
bool CL3CellReader::State::takePart(const Part& part, CellArraysWriter& out,
                                    std::uint64_t& points) {
    const std::uint32_t rows = part.endRow - part.firstRow;
    if (!readEntries(part)) return false;
    std::uint32_t first = 0, present = 0, outOfOrder = 0;
    for (const std::uint32_t entry : m_entries) {
        if (entry == 0) continue;
        if (present == 0) first = entry;
        outOfOrder |= entry ^ (first + present++);
    }
    const std::uint64_t tile = tileOf(part.firstColumn, part.firstRow);
    const std::uint8_t* record = nullptr;
    if (present > 0) {
        const std::uint64_t last = std::uint64_t{first} + present - 1;
        const bool isSound = outOfOrder == 0 && last <= std::numeric_limits<std::uint32_t>::max() &&
                             reachTile(tile) && holdsRecord(tile, static_cast<std::uint32_t>(last));
        record = isSound ? readRecords(tile, first, present) : nullptr;
        if (!record) return false;
    }
    const std::uint32_t* entry = m_entries.data();
    for (std::uint32_t column = part.firstColumn; column < part.endColumn; ++column) {
        out.seek(column, part.firstRow);
        for (const std::uint32_t* const end = entry + rows; entry != end; ++entry) {
            CL3Record point;
            if (*entry != 0 && decode(record, point)) {
                out.put(point);
                ++points;
            } else {
                out.putEmpty();
            }
            if (*entry != 0) record += m_recordSize;
        }
        if (column + 1 == part.endColumn) break;
        for (const std::uint32_t* const end = entry + (m_header.tileSize - rows); entry != end;
             ++entry) {
            if (*entry != 0) record += m_recordSize;
        }
    }
    return true;
}

/// Delivers a part of some tile; where it is damaged, cell by cell.
CellState CL3CellReader::State::readPart(const Part& part, CellArraysWriter& out,
                                         std::uint64_t& points) {
    const std::uint64_t before = points;
    if (takePart(part, out, points)) return CellState::Point;
    points = before;
    bool damaged = false;
    for (std::uint32_t column = part.firstColumn; column < part.endColumn; ++column) {
        for (std::uint32_t row = part.firstRow; row < part.endRow; ++row) {
            CellPoint point;
            const CellState state = readCell(column, row, point);
            damaged |= state == CellState::Damaged;
            out.seek(column, row);
            if (state == CellState::Point) {
                out.put({.x = point.x,
                         .y = point.y,
                         .z = point.z,
                         .intensity = point.intensity,
                         .red = point.red,
                         .green = point.green,
                         .blue = point.blue});
                ++points;
            } else {
                out.putEmpty();
            }
        }
    }
    return damaged ? CellState::Damaged : CellState::Point;
}

CellState CL3CellReader::State::readWindow(const CellWindow& window, CellArraysWriter& out,
                                           std::uint64_t& points) {
    // Entries that are read at once, those of unwanted rows included: a quarter of a megabyte.
    constexpr std::uint32_t kMostEntries = 65'536;
    const std::uint32_t edge = m_header.tileSize;
    const auto nextTile = [edge](std::uint64_t at) { return (at / edge + 1) * edge; };
    const auto endColumn = std::min<std::uint64_t>(window.endColumn, m_columnEnd);
    const auto endRow = std::min<std::uint64_t>(window.endRow, m_rowEnd);
    bool damaged = false;
    for (std::uint64_t column = window.firstColumn; column < window.endColumn;) {
        std::uint64_t partEnd = column + 1;
        std::uint64_t row = window.firstRow;
        if (column < endColumn) {
            const std::uint64_t most = column + std::max(1U, kMostEntries / edge);
            partEnd = std::min({nextTile(column), endColumn, most});
            while (row < endRow) {
                const std::uint64_t rowEnd = std::min(nextTile(row), endRow);
                // A narrow strip takes one read a column.
                const bool isNarrow = (rowEnd - row) * 8 < edge;
                for (std::uint64_t first = column; first < partEnd;) {
                    const std::uint64_t end = isNarrow ? first + 1 : partEnd;
                    const Part part{
                        static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(end),
                        static_cast<std::uint32_t>(row), static_cast<std::uint32_t>(rowEnd)};
                    damaged |= readPart(part, out, points) == CellState::Damaged;
                    first = end;
                }
                row = rowEnd;
            }
        }
        for (; column < partEnd; ++column)
            out.putEmptyFrom(static_cast<std::uint32_t>(column), row);
    }
    if (damaged) return CellState::Damaged;
    return points == 0 ? CellState::Empty : CellState::Point;
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

// ------------------------------------------------------------------------------------- The table of tiles

namespace {

namespace tile_table {                            // size  meaning
constexpr std::size_t kTag = 0;                   //    4  "BTT1"
constexpr std::size_t kScanBytes = 4;             //    8  of scan.cl3
constexpr std::size_t kIndexBytes = 12;           //    8  of scan.ij
constexpr std::size_t kColumns = 20;              //    4  of the grid
constexpr std::size_t kRows = 24;                 //    4
constexpr std::size_t kTileSize = 28;             //    4  edge of a tile in cells
constexpr std::size_t kRecordSize = 32;           //    4  bytes of a record in scan.cl3
constexpr std::size_t kHeaderSize = 36;           //       then the points of each tile
constexpr std::size_t kTileBytes = 4;             //    4
constexpr std::uint32_t kTagValue = 0x31545442U;  // "BTT1"
}  // namespace tile_table

}  // namespace

void CL3TileTable::add(std::uint32_t points) {
    Tile tile{cl3_header::kSize, ij_header::kSize, points};
    if (!m_tiles.empty()) {
        const Tile& before = m_tiles.back();
        tile.scanOffset = before.scanOffset + cl3_block::kHeaderSize +
                          std::uint64_t{before.points} * m_files.recordSize;
        tile.indexOffset = before.indexOffset + ijTileBytes(m_files.tileSize);
    }
    m_tiles.push_back(tile);
}

std::vector<std::uint8_t> CL3TileTable::toBytes() const {
    namespace t = tile_table;
    std::vector<std::uint8_t> bytes(t::kHeaderSize + m_tiles.size() * t::kTileBytes);
    std::uint8_t* const out = bytes.data();
    storeU32(out + t::kTag, t::kTagValue);
    store(out + t::kScanBytes, m_files.scanBytes);
    store(out + t::kIndexBytes, m_files.indexBytes);
    storeU32(out + t::kColumns, m_files.columns);
    storeU32(out + t::kRows, m_files.rows);
    storeU32(out + t::kTileSize, m_files.tileSize);
    storeU32(out + t::kRecordSize, m_files.recordSize);
    for (std::size_t i = 0; i < m_tiles.size(); ++i)
        storeU32(out + t::kHeaderSize + i * t::kTileBytes, m_tiles[i].points);
    return bytes;
}

bool CL3TileTable::fromBytes(const std::uint8_t* bytes, std::size_t size) {
    namespace t = tile_table;
    if (!bytes || size < t::kHeaderSize || loadU32(bytes + t::kTag) != t::kTagValue) return false;
    CL3TileTable table;
    Files& files = table.m_files;
    files.scanBytes = load<std::uint64_t>(bytes + t::kScanBytes);
    files.indexBytes = load<std::uint64_t>(bytes + t::kIndexBytes);
    files.columns = loadU32(bytes + t::kColumns);
    files.rows = loadU32(bytes + t::kRows);
    files.tileSize = loadU32(bytes + t::kTileSize);
    files.recordSize = loadU32(bytes + t::kRecordSize);
    const bool isUsable = files.tileSize != 0 && files.tileSize <= kLargestTileSize;
    const IJHeader grid{.columns = files.columns, .rows = files.rows, .tileSize = files.tileSize};
    const auto count =
        isUsable ? checkedMultiply(grid.columnTiles(), grid.rowTiles()) : std::nullopt;
    if (!count || (size - t::kHeaderSize) % t::kTileBytes != 0 ||
        *count != (size - t::kHeaderSize) / t::kTileBytes) {
        return false;
    }
    for (std::size_t at = t::kHeaderSize; at < size; at += t::kTileBytes)
        table.add(loadU32(bytes + at));
    *this = std::move(table);
    return true;
}

}  // namespace brisko
