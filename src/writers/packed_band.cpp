#include "writers/packed_band.h"

#include "layouts/layout.h"
#include "layouts/records.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace brisko {
namespace {

constexpr std::size_t kRecord = cl3_record::kSize1;
static_assert(cl3_block::kHeaderSize + kTileCells * kRecord + kTileCells / 2 <= PackedTile::kBytes);

/// Packs a run from one end to the other, so that rows rise. False where a point is not as it should be. The box
/// takes the points as they come: of 0 and -0 the first one stays.
template <int kStep>
bool pack(const ColumnRun& run, std::uint8_t* records, std::uint8_t* live, PointsBox& box) {
    double sum = 0;  // 0, or not a number
    bool isSound = true;
    std::int64_t last = -1;
    for (std::size_t k = 0; k < run.count; ++k, records += kRecord) {
        const std::size_t i = kStep > 0 ? k : run.count - 1 - k;
        const double* const p = run.positions + 3 * i;
        const float intensity = run.intensities[i];
        const std::uint8_t* const colour = run.colours + 3 * i;
        const std::uint32_t row = run.rows[i];
        std::memcpy(records + cl3_record::kX, p, 3 * sizeof *p);
        std::memcpy(records + cl3_record::kIntensity, &intensity, sizeof intensity);
        std::memcpy(records + cl3_record::kRed, colour, 3);
        live[row % kTileSize] = 1;
        isSound = isSound & (row > last) & isMeasured(p[0], p[1], p[2], intensity);
        last = row;
        sum += (p[0] - p[0]) + (p[1] - p[1]) + (p[2] - p[2]);
        const double* const inOrder = run.positions + 3 * k;
        box.add({inOrder[0], inOrder[1], inOrder[2]});
    }
    return isSound && sum == 0;
}

}  // namespace

std::unique_ptr<PackedTile> PackedTile::create() {
    std::unique_ptr<PackedTile> tile(new (std::nothrow) PackedTile);
    if (!tile) return nullptr;
    tile->m_block = PageMemory(kBytes);
    return tile->m_block ? std::move(tile) : nullptr;
}

void PackedTile::clear() {
    if (m_points > 0) m_live.fill(0);
    m_points = 0;
    m_column = -1;
}

/// A place for points of some rows among those of their column that came before; null where there is none.
std::uint8_t* PackedTile::makeRoom(std::uint32_t lowest, std::uint32_t highest,
                                   std::size_t points) {
    std::uint8_t* const records = block() + cl3_block::kHeaderSize;
    std::uint8_t* const start = records + m_columnStart * kRecord;
    std::uint8_t* const end = records + m_points * kRecord;
    if (start == end) {
        m_lowest = lowest;
        m_highest = highest;
        return end;
    }
    if (lowest > m_highest) {
        m_highest = highest;
        return end;
    }
    if (highest >= m_lowest) return nullptr;
    // Where a column that is measured downwards comes in two batches.
    std::memmove(start + points * kRecord, start, static_cast<std::size_t>(end - start));
    m_lowest = lowest;
    return start;
}

bool PackedTile::add(std::uint32_t columnOffset, const ColumnRun& run, PointsBox& box) {
    const auto column = static_cast<std::int32_t>(columnOffset);
    if (column < m_column || m_points + run.count > kTileCells) return false;
    if (column > m_column) {
        m_column = column;
        m_columnStart = m_points;
    }
    const std::uint32_t first = run.rows[0], last = run.rows[run.count - 1];
    std::uint8_t* const room = makeRoom(std::min(first, last), std::max(first, last), run.count);
    if (!room) return false;
    m_points += static_cast<std::uint32_t>(run.count);
    std::uint8_t* const live = m_live.data() + std::size_t{columnOffset} * kTileSize;
    return first <= last ? pack<1>(run, room, live, box) : pack<-1>(run, room, live, box);
}

void PackedTile::encodeEntries(std::uint32_t* entries) const {
    std::uint32_t points = 0;
    for (const std::uint8_t live : m_live) {
        points += live;
        *entries++ = live != 0 ? points : 0;
    }
}

void PackedBand::clear(std::uint32_t rowTiles) {
    m_tiles.resize(rowTiles);
    for (const auto& tile : m_tiles) {
        if (tile) tile->clear();
    }
    m_box = {};
}

bool PackedBand::add(std::uint32_t columnOffset, std::uint32_t rowTile, const ColumnRun& run) {
    if (!m_tiles[rowTile]) m_tiles[rowTile] = PackedTile::create();
    return m_tiles[rowTile] && m_tiles[rowTile]->add(columnOffset, run, m_box);
}

}  // namespace brisko
