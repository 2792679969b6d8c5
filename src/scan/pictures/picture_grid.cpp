#include "scan/pictures/picture_grid.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace brisko::scan {
namespace {

constexpr double kFarthest = 1e9;       // metres; beyond it nothing was measured
constexpr std::uint32_t kTile = 128;    // gathered cells along a tile
constexpr std::uint64_t kFewest = 255;  // what a small counter can count to

std::uint32_t gathered(std::uint32_t place, std::uint32_t cells, std::uint32_t size) {
    return static_cast<std::uint32_t>(std::uint64_t{place} * size / cells);
}

CellRange rangeOf(double first, double end, std::uint32_t size) {
    const auto begin = std::min(static_cast<std::uint32_t>(first * size), size - 1);
    const auto stop = static_cast<std::uint32_t>(std::lround(end * size));
    return {begin, std::clamp(stop, begin + 1, size)};
}

/// How many cells of a scan may fall into a gathered one, along one side.
std::uint64_t mostAlong(std::uint32_t cells, std::uint32_t size) {
    return cells / size + 1;
}

std::size_t tilesAlong(std::uint32_t size) {
    return (size + kTile - 1) / kTile;
}

/// The place of a gathered cell in its tile.
std::size_t placeInTile(std::uint32_t x, std::uint32_t y) {
    return std::size_t{y % kTile} * kTile + x % kTile;
}

}  // namespace

PictureGrid::PictureGrid(PictureMode mode, std::uint32_t columns, std::uint32_t rows,
                         std::uint32_t mostColumns, std::uint32_t mostRows)
    : m_mode(mode),
      m_columns(columns),
      m_rows(rows),
      m_width(std::clamp(columns, 1u, mostColumns)),
      m_height(std::clamp(rows, 1u, mostRows)),
      m_channels(mode == PictureMode::Colour ? 3 : 1),
      m_hasFew(mostAlong(columns, m_width) * mostAlong(rows, m_height) <= kFewest),
      m_tilesAcross(tilesAlong(m_width)),
      m_tiles(m_tilesAcross * tilesAlong(m_height)) {
}

void PictureGrid::add(std::span<const CellPoint> points) {
    for (const CellPoint& point : points) {
        if (point.column >= m_columns || point.row >= m_rows) continue;
        addTo(gathered(point.column, m_columns, m_width), gathered(point.row, m_rows, m_height),
              point);
    }
}

PictureGrid::Tile& PictureGrid::tileAt(std::uint32_t x, std::uint32_t y) {
    constexpr std::size_t kCells = std::size_t{kTile} * kTile;
    Tile& tile = m_tiles[y / kTile * m_tilesAcross + x / kTile];
    if (!tile.sums.empty()) return tile;
    if (m_hasFew) {
        tile.few.resize(kCells);
    } else {
        tile.many.resize(kCells);
    }
    tile.sums.resize(kCells * m_channels);
    return tile;
}

void PictureGrid::addTo(std::uint32_t x, std::uint32_t y, const CellPoint& p) {
    const double range = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
    if (m_mode == PictureMode::Range && !(range <= kFarthest)) return;
    if (m_mode == PictureMode::Intensity && !std::isfinite(p.intensity)) return;
    Tile& tile = tileAt(x, y);
    const std::size_t cell = placeInTile(x, y);
    // A scan has one point a cell; what a damaged one has more is not counted round.
    if (m_hasFew && tile.few[cell] == kFewest) return;
    float* const sums = tile.sums.data() + cell * m_channels;
    switch (m_mode) {
        case PictureMode::Range:
            sums[0] += static_cast<float>(range);
            break;
        case PictureMode::Intensity:
            sums[0] += p.intensity;
            break;
        case PictureMode::Colour:
            sums[0] += p.red;
            sums[1] += p.green;
            sums[2] += p.blue;
            break;
    }
    if (m_hasFew) {
        ++tile.few[cell];
    } else {
        ++tile.many[cell];
    }
}

CellRange PictureGrid::columnsOf(double first, double end) const {
    return rangeOf(first, end, m_width);
}

CellRange PictureGrid::rowsOf(double first, double end) const {
    return rangeOf(first, end, m_height);
}

PictureValue PictureGrid::mean(const CellRange& columns, const CellRange& rows) const {
    PictureValue value;
    double count = 0;
    std::array<double, 3> sums{};
    const std::size_t channels = std::min(m_channels, sums.size());
    for (std::uint32_t y = rows.first; y < rows.end; ++y) {
        const Tile* const tiles = m_tiles.data() + y / kTile * m_tilesAcross;
        for (std::uint32_t x = columns.first; x < columns.end; ++x) {
            const Tile& tile = tiles[x / kTile];
            if (tile.sums.empty()) continue;
            const std::size_t cell = placeInTile(x, y);
            count += m_hasFew ? tile.few[cell] : tile.many[cell];
            for (std::size_t c = 0; c < channels; ++c) {
                sums[c] += static_cast<double>(tile.sums[cell * m_channels + c]);
            }
        }
    }
    if (count == 0) return value;
    value.isEmpty = false;
    for (std::size_t c = 0; c < channels; ++c) {
        value.channels[c] = static_cast<float>(sums[c] / count);
    }
    return value;
}

}  // namespace brisko::scan
