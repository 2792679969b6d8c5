#pragma once

#include "base/private_folder.h"
#include "layouts/ij_index.h"
#include "layouts/records.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace brisko {

struct FreeMemory {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

/// One tile of the grid in memory: 256 x 256 cells, rows fastest.
class Tile {
public:
    /// A tile without points. Null when memory runs out.
    static std::unique_ptr<Tile> create();

    /// Puts a point into a cell in the place of an earlier one. A point that does not count as
    /// measured empties the cell. Returns whether there was one.
    bool put(std::uint32_t columnOffset, std::uint32_t rowOffset, const CL3Record& record) {
        const std::size_t cell = std::size_t{columnOffset} * kTileSize + rowOffset;
        const bool replaces = m_live[cell] != 0;
        m_cells[cell] = record;
        m_live[cell] = isMeasured(record);
        return replaces;
    }
    void clear() { m_live.fill(0); }

    /// Writes out the records of the cells that hold a point, and an entry for every cell.
    ///   records  room for kRecordBytes: one record more than there can be
    ///   entries  room for kTileCells
    /// Returns: the number of points.
    std::uint32_t encode(std::uint8_t* records, std::uint32_t* entries) const;
    static constexpr std::size_t kRecordBytes = (kTileCells + 1) * cl3_record::kSize1;

private:
    Tile() = default;

    std::array<std::uint8_t, kTileCells> m_live{};  // 1 where the cell holds a point
    // Memory as it came, so that a tile costs the pages it fills: only live cells are ever kept.
    std::unique_ptr<CL3Record[], FreeMemory> m_cells;
};

/// The cells of 256 columns. Tiles take memory when their first point comes, and keep it for the
/// bands that follow. Only so many do: the points of all further ones wait on the disk.
class TileBand {
public:
    /// About 96 MB: grids of 11,520 rows and less need no disk.
    static constexpr std::size_t kTilesInMemory = 45;

    /// path: of the output, in whose folder points wait.
    explicit TileBand(const std::string& path = {}) : m_spill(path) {}

    /// Puts a point at a column offset (0 to 255) and a row. Returns false when there is neither
    /// memory nor disk for it.
    bool put(std::uint32_t columnOffset, std::uint32_t row, const CL3Record& record) {
        const std::uint32_t rowTile = row / kTileSize;
        if (rowTile >= m_tiles.size() || !m_tiles[rowTile]) [[unlikely]] {
            if (!makeTile(rowTile)) return putAside(columnOffset, row, record);
        }
        m_replaced += m_tiles[rowTile]->put(columnOffset, row % kTileSize, record) ? 1 : 0;
        return true;
    }

    /// The tile, or null when it holds no point; good until the next call. Where it waited on the
    /// disk and cannot be read back, `failed` becomes true.
    Tile* tile(std::uint32_t rowTile, bool& failed);
    /// Forgets what waited: every tile of the band was asked for.
    void finish();

    /// Points whose cell another one took later.
    std::uint64_t replaced() const { return m_replaced; }

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
    bool putAside(std::uint32_t columnOffset, std::uint32_t row, const CL3Record& record);
    bool spillPoints();
    bool fetch(const WaitingTile& waiting, Tile& tile) const;

    std::uint64_t m_replaced = 0;
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
