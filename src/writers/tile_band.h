#pragma once

#include "base/page_memory.h"
#include "base/private_folder.h"
#include "layouts/ij_index.h"
#include "layouts/records.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace brisko {

/// One tile of the grid in memory: 256 x 256 cells, rows fastest.
class Tile {
public:
    /// A tile without points. Null when memory runs out.
    static std::unique_ptr<Tile> create();

    /// Puts a point into a cell in the place of an earlier one. One that does not count as measured
    /// empties the cell.
    void put(std::uint32_t columnOffset, std::uint32_t rowOffset, const CL3Record& record,
             bool counts) {
        const std::size_t cell = std::size_t{columnOffset} * kTileSize + rowOffset;
        m_cells.as<CL3Record>()[cell] = record;
        m_live[cell] = counts;
    }
    void clear() { m_live.fill(0); }
    /// The number of cells that hold a point.
    std::uint64_t points() const {
        return static_cast<std::uint64_t>(std::count(m_live.begin(), m_live.end(), 1));
    }

    /// Writes out the records of the cells that hold a point, and an entry for every cell.
    ///   records  room for kRecordBytes: one record more than there can be
    ///   entries  room for kTileCells
    /// Returns: the number of points.
    std::uint32_t encode(std::uint8_t* records, std::uint32_t* entries) const;
    static constexpr std::size_t kRecordBytes = (kTileCells + 1) * cl3_record::kSize1;

private:
    Tile() = default;

    std::array<std::uint8_t, kTileCells> m_live{};  // 1 where the cell holds a point
    // Memory as it came: only live cells are ever kept.
    PageMemory m_cells;
};

/// The cells of 256 columns. Tiles take memory when their first point comes, and keep it for the
/// bands that follow. Only so many do: the points of all further ones wait on the disk.
class TileBand {
public:
    /// About 96 MB: grids of 11,520 rows and less need no disk.
    static constexpr std::size_t kTilesInMemory = 45;

    /// path: of the output, in whose folder points wait.
    explicit TileBand(const std::string& path = {}) : m_spill(path) {}

    /// Puts a point at a column offset (0 to 255) and a row; `counts`: it is measured. Returns false
    /// when there is neither memory nor disk for it.
    bool put(std::uint32_t columnOffset, std::uint32_t row, const CL3Record& record, bool counts) {
        const std::uint32_t rowTile = row / kTileSize;
        if (rowTile >= m_tiles.size() || !m_tiles[rowTile]) [[unlikely]] {
            if (!makeTile(rowTile)) return putAside(columnOffset, row, record);
        }
        m_tiles[rowTile]->put(columnOffset, row % kTileSize, record, counts);
        m_measured += counts ? 1 : 0;
        return true;
    }

    /// The tile, or null when it holds no point; good until the next call. Where it waited on the
    /// disk and cannot be read back, `failed` becomes true.
    Tile* tile(std::uint32_t rowTile, bool& failed);
    /// The points that a tile held are written out.
    void countWritten(std::uint32_t points) { m_written += points; }
    /// Forgets what waited: every tile of the band was asked for.
    void finish();

    /// Points whose cell another one took later: what came less what stayed, so that no point needs to
    /// look who was there before. Those that were asked for with takeReplaced() do not count again.
    std::uint64_t replaced() const;
    std::uint64_t takeReplaced() {
        const std::uint64_t more = replaced();
        m_replacedTaken += more;
        return more;
    }

private:
    struct WaitingPoint {
        CL3Record record;
        std::uint8_t column = 0, row = 0;  // in the tile
    };
    struct Chunk {
        std::uint64_t offset, count;
    };
    struct WaitingTile {
        std::vector<WaitingPoint> points;
        std::vector<Chunk> chunks;  // before them, on the disk
    };

    bool makeTile(std::uint32_t rowTile);
    // By value: where the address of a record leaves the loop that fills it, its fields go through memory.
    bool putAside(std::uint32_t columnOffset, std::uint32_t row, CL3Record record);
    bool spillPoints();
    bool fetch(const WaitingTile& waiting, Tile& tile);

    std::uint64_t m_measured = 0;  // points put into tiles
    std::uint64_t m_written = 0;   // of them, at the end of their bands
    std::uint64_t m_replacedTaken = 0;
    std::vector<std::unique_ptr<Tile>> m_tiles;
    std::size_t m_tilesMade = 0;
    std::map<std::uint32_t, WaitingTile> m_waiting;
    WaitingTile* m_last = nullptr;  // of them
    std::uint32_t m_lastRowTile = 0;
    std::size_t m_waitingPoints = 0;  // in memory
    bool m_isSpillFull = false;
    std::unique_ptr<Tile> m_fetched;
    SpillFile m_spill;
};

}  // namespace brisko
