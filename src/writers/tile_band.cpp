#include "writers/tile_band.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace brisko {

static_assert(offsetof(CL3Record, red) == cl3_record::kRed &&
                  offsetof(CL3Record, blue) == cl3_record::kBlue &&
                  sizeof(CL3Record) >= cl3_record::kSize1,
              "a record in memory begins with its bytes on disk, so that it can be copied whole");

std::unique_ptr<Tile> Tile::create() {
    std::unique_ptr<Tile> tile(new (std::nothrow) Tile);
    if (!tile) return nullptr;
    // Zero pages of the system, so that a record is never made of what the heap held before.
    tile->m_cells.reset(static_cast<CL3Record*>(std::calloc(kTileCells, sizeof(CL3Record))));
    return tile->m_cells ? std::move(tile) : nullptr;
}

std::uint32_t Tile::encode(std::uint8_t* records, std::uint32_t* entries) const {
    std::uint32_t points = 0;
    for (std::size_t cell = 0; cell < kTileCells; ++cell) {
        // Copied always, kept only where the cell is live: cheaper than a branch that scanners'
        // drop-outs make hard to guess.
        std::memcpy(records, &m_cells[cell], cl3_record::kSize1);
        const std::uint32_t live = m_live[cell];
        records += live * cl3_record::kSize1;
        points += live;
        entries[cell] = live != 0 ? points : 0;
    }
    return points;
}

bool TileBand::makeTile(std::uint32_t rowTile) {
    try {
        if (rowTile >= m_tiles.size()) m_tiles.resize(std::size_t{rowTile} + 1);
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_tiles[rowTile] = Tile::create();
    return m_tiles[rowTile] != nullptr;
}

}  // namespace brisko
