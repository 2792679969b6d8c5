#pragma once

#include "layouts/layout.h"
#include "scan/files/input_file.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/progress.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

/// The entries of one tile of an index that stand for a point, in the order of its cells.
class TileEntries {
public:
    struct Entry {
        std::uint32_t cell = 0;    // within the tile
        std::uint32_t number = 0;  // of the record, from 1; never 0
    };

    /// The index is read by nothing else until the last entry is taken.
    ///   offset  of the first entry in the index
    TileEntries(ByteStream& index, std::uint64_t offset, std::uint32_t cells);

    /// Nothing at the end of the tile or of the file.
    std::optional<Entry> next();
    /// After the last entry: whether the file holds the tile to its end.
    bool isWhole() const { return m_cell == m_cells; }

private:
    bool nextRun();

    ByteStream& m_index;
    std::uint32_t m_cells;
    std::uint32_t m_cell = 0;
    std::uint32_t m_runEnd = 0;             // the cell after those at hand
    const std::uint8_t* m_entry = nullptr;  // of the cell
};

/// Which entries of a damaged tile can be believed. Any order of the numbers is honoured: an entry
/// says which record is its cell's. A number that stands in several cells is believed where it
/// follows the number before it, or the next one follows it, and nowhere when that is the case more
/// than once.
class BelievedEntries {
public:
    /// records: how many the block holds in the file
    explicit BelievedEntries(std::uint64_t records) : m_seen(records + 1) {}

    /// First all entries of the tile are added, then each is asked for, in the same order.
    ///   before, after  the numbers of its neighbours; 0 where there is none
    void add(std::uint32_t before, std::uint32_t number, std::uint32_t after);
    bool isBelieved(std::uint32_t before, std::uint32_t number, std::uint32_t after) const;

private:
    struct Seen {
        std::uint8_t times = 0;       // 2: twice or more often
        std::uint8_t inSequence = 0;  // the same, among these
    };
    std::vector<Seen> m_seen;  // by number
};

struct Salvage;

/// Finds the points of a damaged indexed scan and their cells. Blocks and tiles stand in the same
/// order, and each says how many points it has: where one is damaged the other helps out.
class TileWalk {
public:
    using Sink = std::function<void(const std::vector<CellPoint>&)>;

    /// Reads what the index says of itself and whether it belongs to the scan.
    TileWalk(const std::string& scan, CL3PointFormat format, const std::string& index);

    /// Empty when the index can be used, or why it cannot.
    const std::string& problem() const { return m_problem; }
    std::uint32_t columns() const { return m_columns; }
    std::uint32_t rows() const { return m_rows; }
    std::uint32_t tileSize() const { return m_tileSize; }

    void run(Salvage& salvage, TaskProgress& progress, const Sink& sink);
    std::uint64_t bytes() const { return m_scan.size() + m_index.size(); }

private:
    std::string readHeader();
    bool belongsToScan();
    std::uint64_t tileOffset(std::uint64_t tile) const;
    bool announcedPoints(std::uint64_t tile, std::uint32_t& points);
    bool announcedRecords(std::uint64_t offset, std::uint32_t& records);
    std::uint64_t wholeRecords(std::uint64_t block) const;
    bool leadsOn(std::uint64_t tile, std::uint64_t block, std::uint32_t records);
    std::uint32_t chooseRecords(std::uint64_t tile, std::uint64_t block);
    template <class Visit>
    bool forEachEntry(std::uint64_t tile, const Visit& visit);
    void countEntries(std::uint64_t tile);
    void loseRest(std::uint64_t tile, TaskProgress& progress);
    void loseIndex(std::uint64_t tile);
    void takeCells(std::uint64_t tile, std::uint64_t block, std::uint64_t records,
                   const Sink& sink);
    bool takeCell(std::uint64_t tile, std::uint64_t block, const TileEntries::Entry& entry);

    std::string m_scanPath, m_indexPath;
    ByteStream m_scan, m_index;
    InputFile m_scanCounts, m_indexCounts;  // for looks ahead: the streams stay where they are
    CL3PointFormat m_format;
    std::uint64_t m_recordSize;
    std::string m_problem;
    std::uint32_t m_columns = 0, m_rows = 0, m_tileSize = 0;
    std::uint64_t m_tiles = 0, m_tilesDown = 0;
    std::uint32_t m_entries = 0;  // of a tile that stand for a point, as far as the index goes
    bool m_tileIsWhole = false;   // the index reaches its end
    std::vector<CellPoint> m_points;
    Salvage* m_salvage = nullptr;
};

}  // namespace brisko::scan
