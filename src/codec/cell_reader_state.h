#pragma once

#include <brisko_codec/cell_reader.h>

#include "base/file.h"
#include "codec/alignment.h"
#include "layouts/cell_arrays.h"
#include "layouts/ij_index.h"

#include <optional>
#include <vector>

namespace brisko {

/// The files of an open scan and the way to its cells. The members that read single cells are in
/// cell_reader.cpp, those of windows in cell_windows.cpp.
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
    bool takePart(const Part& part, const CellArraysWriter& out, std::uint64_t& points);
    std::uint64_t putPart(const Part& part, const std::uint8_t* record,
                          const CellArraysWriter& out) const;
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
    static bool decode(const std::uint8_t* bytes, std::size_t recordSize,
                       const AlignmentMatrix& applied, CL3Record& record);
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

/// Returns false for a record without a point, which the other readers pass over too.
inline bool CL3CellReader::State::decode(const std::uint8_t* bytes, std::size_t recordSize,
                                         const AlignmentMatrix& applied, CL3Record& record) {
    decodeCL3Position(bytes, record);
    if (!isMeasured(record)) return false;
    if (recordSize == cl3_record::kSize1) decodeCL3Colour(bytes, record);
    applied.apply(record.x, record.y, record.z);
    return true;
}

}  // namespace brisko
