#pragma once

#include "base/page_memory.h"
#include "layouts/ij_index.h"
#include "writers/points_box.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace brisko {

/// Points that follow each other in one column and inside one tile, upwards or downwards.
struct ColumnRun {
    const double* positions = nullptr;  // three a point
    const float* intensities = nullptr;
    const std::uint8_t* colours = nullptr;  // three a point
    const std::uint32_t* rows = nullptr;
    std::size_t count = 0;  // not 0
};

/// The points of one tile as the bytes that its block has, in the order of their cells.
class PackedTile {
public:
    /// Null when memory runs out.
    static std::unique_ptr<PackedTile> create();

    /// Adds points of a column that is not before any other of the tile, and of cells that have none yet.
    /// Returns: false where they come in another order, or one is not finite or does not count as measured.
    bool add(std::uint32_t columnOffset, const ColumnRun& run, PointsBox& box);
    void clear();

    std::uint32_t points() const { return m_points; }
    /// Room for the header of the block, then its records.
    std::uint8_t* block() const { return m_block.as<std::uint8_t>(); }
    /// Writes an entry for every cell.
    void encodeEntries(std::uint32_t* entries) const;

    /// What a tile takes of the memory.
    static constexpr std::size_t kBytes = kTileCells * 32;

private:
    PackedTile() = default;

    std::uint8_t* makeRoom(std::uint32_t lowest, std::uint32_t highest, std::size_t points);

    std::array<std::uint8_t, kTileCells> m_live{};  // 1 where a cell has a point
    PageMemory m_block;
    std::uint32_t m_points = 0;
    // The column that points come for, and what came of it.
    std::int32_t m_column = -1;
    std::uint32_t m_columnStart = 0;  // points before it
    std::uint32_t m_lowest = 0, m_highest = 0;
};

/// The points of 256 columns, packed while they come: for those that come in the order of the columns, in each
/// tile for itself.
class PackedBand {
public:
    /// Tiles keep their memory for the next band.
    void clear(std::uint32_t rowTiles);
    /// A column's points of one tile, as PackedTile::add takes them. False also when memory runs out.
    bool add(std::uint32_t columnOffset, std::uint32_t rowTile, const ColumnRun& run);
    /// Null where there is no point.
    const PackedTile* tile(std::uint32_t rowTile) const { return m_tiles[rowTile].get(); }
    const PointsBox& box() const { return m_box; }

private:
    std::vector<std::unique_ptr<PackedTile>> m_tiles;
    PointsBox m_box;
};

}  // namespace brisko
