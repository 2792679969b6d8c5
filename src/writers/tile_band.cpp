#include "writers/tile_band.h"

#include <algorithm>
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
    // Fresh from the system, so that a record is never made of what the heap held before.
    tile->m_cells = PageMemory(kTileCells * sizeof(CL3Record));
    return tile->m_cells ? std::move(tile) : nullptr;
}

std::uint32_t Tile::encode(std::uint8_t* records, std::uint32_t* entries) const {
    std::uint32_t points = 0;
    const CL3Record* const cells = m_cells.as<CL3Record>();
    for (std::size_t cell = 0; cell < kTileCells; ++cell) {
        // Copied always, kept only where the cell is live: cheaper than a branch that scanners'
        // drop-outs make hard to guess.
        std::memcpy(records, &cells[cell], cl3_record::kSize1);
        const std::uint32_t live = m_live[cell];
        records += live * cl3_record::kSize1;
        points += live;
        entries[cell] = live != 0 ? points : 0;
    }
    return points;
}

bool TileBand::makeTile(std::uint32_t rowTile) {
    if (m_tilesMade == kTilesInMemory) return false;
    try {
        if (rowTile >= m_tiles.size()) m_tiles.resize(std::size_t{rowTile} + 1);
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_tiles[rowTile] = Tile::create();
    if (!m_tiles[rowTile]) return false;
    ++m_tilesMade;
    return true;
}

bool TileBand::putAside(std::uint32_t columnOffset, std::uint32_t row, CL3Record record) {
    constexpr std::size_t kMostPoints = std::size_t{1} << 18;  // 10 MB
    // Where there is no memory for a tile, or no disk, points are dropped.
    if (m_tilesMade < kTilesInMemory || m_isSpillFull) return false;
    try {
        const std::uint32_t rowTile = row / kTileSize;
        // Rows follow each other, so most points go where the last one went.
        if (!m_last || m_lastRowTile != rowTile) m_last = &m_waiting[rowTile];
        m_lastRowTile = rowTile;
        m_last->points.push_back({record, static_cast<std::uint8_t>(columnOffset),
                                  static_cast<std::uint8_t>(row % kTileSize)});
        if (++m_waitingPoints < kMostPoints) return true;
        m_isSpillFull = !spillPoints();
        return !m_isSpillFull;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool TileBand::spillPoints() {
    for (auto& [rowTile, waiting] : m_waiting) {
        if (waiting.points.empty()) continue;
        waiting.chunks.push_back({m_spill.end(), waiting.points.size()});
        const std::size_t bytes = waiting.points.size() * sizeof(WaitingPoint);
        if (!m_spill.append(waiting.points.data(), bytes)) return false;
        // Its memory goes, too: points may come tile by tile.
        waiting.points = std::vector<WaitingPoint>();
    }
    m_waitingPoints = 0;
    return true;
}

/// Points come back in the order in which they came: the last one of a cell counts.
bool TileBand::fetch(const WaitingTile& waiting, Tile& tile) {
    const auto put = [&](const WaitingPoint& point) {
        const bool counts = isMeasured(point.record);
        tile.put(point.column, point.row, point.record, counts);
        m_measured += counts ? 1 : 0;
    };
    std::array<WaitingPoint, 1024> points;
    for (const Chunk& chunk : waiting.chunks) {
        for (std::uint64_t done = 0; done < chunk.count;) {
            const auto some = static_cast<std::size_t>(
                std::min<std::uint64_t>(points.size(), chunk.count - done));
            const std::uint64_t offset = chunk.offset + done * sizeof(WaitingPoint);
            if (!m_spill.read(offset, points.data(), some * sizeof(WaitingPoint))) return false;
            std::for_each_n(points.begin(), some, put);
            done += some;
        }
    }
    std::for_each(waiting.points.begin(), waiting.points.end(), put);
    return true;
}

Tile* TileBand::tile(std::uint32_t rowTile, bool& failed) {
    if (rowTile < m_tiles.size() && m_tiles[rowTile]) return m_tiles[rowTile].get();
    const auto waiting = m_waiting.find(rowTile);
    if (waiting == m_waiting.end()) return nullptr;
    if (!m_fetched) m_fetched = Tile::create();
    const std::uint64_t before = m_measured;
    if (m_fetched && fetch(waiting->second, *m_fetched)) return m_fetched.get();
    failed = true;
    m_measured = before;
    if (m_fetched) m_fetched->clear();
    return m_fetched.get();
}

std::uint64_t TileBand::replaced() const {
    std::uint64_t kept = m_written;
    for (const auto& tile : m_tiles)
        kept += tile ? tile->points() : 0;
    return m_measured - kept - m_replacedTaken;
}

void TileBand::finish() {
    m_waiting.clear();
    m_last = nullptr;
    m_waitingPoints = 0;
    m_spill.clear();
}

}  // namespace brisko
