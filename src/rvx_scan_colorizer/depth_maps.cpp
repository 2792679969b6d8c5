#include "rvx_scan_colorizer/depth_maps.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace brisko {

namespace {

constexpr float kFarAway = std::numeric_limits<float>::infinity();
constexpr std::size_t kMostCellsOfPhoto = std::size_t{1} << 18;
constexpr std::size_t kMostCells = std::size_t{1} << 24;  // of all photos: 64 MiB

/// Cells per photo, however many photos there are.
std::size_t cellsPerPhoto(std::size_t photos) {
    return std::min(kMostCellsOfPhoto, kMostCells / std::max<std::size_t>(photos, 1));
}

std::size_t cellsAlong(int pixels, int shift) {
    return (static_cast<std::size_t>(std::max(pixels, 1)) >> shift) + 1;
}

}  // namespace

DepthMap::DepthMap(const ImageSize& size, std::size_t mostCells) {
    constexpr int kLargest = 30;
    while (m_shift < kLargest &&
           cellsAlong(size.width, m_shift) * cellsAlong(size.height, m_shift) > mostCells) {
        ++m_shift;
    }
    m_columns = cellsAlong(size.width, m_shift);
    m_rows = cellsAlong(size.height, m_shift);
    m_cells.assign(m_columns * m_rows, kFarAway);
}

void DepthMap::finish(float slack) {
    while (isThin())
        coarsen();
    constexpr float kShare = 0.02F;  // of the depth: cells are larger far away
    std::vector<float> limits(m_cells.size());
    for (std::size_t i = 0; i < limits.size(); ++i)
        limits[i] = continuedDepth(i / m_columns, i % m_columns) * (1 + kShare) + slack;
    m_cells = std::move(limits);
}

/// Whether there are holes between the points of one surface, through which those after it would seem
/// to be seen.
bool DepthMap::isThin() const {
    constexpr std::uint64_t kPointsInCell = 4;  // two steps of the scan each way
    if (m_columns <= 2 || m_rows <= 2) return false;
    const auto empty = std::count(m_cells.begin(), m_cells.end(), kFarAway);
    return m_points < kPointsInCell * (m_cells.size() - static_cast<std::size_t>(empty));
}

/// Makes one cell of two by two.
void DepthMap::coarsen() {
    const std::size_t columns = (m_columns + 1) / 2, rows = (m_rows + 1) / 2;
    std::vector<float> cells(columns * rows, kFarAway);
    for (std::size_t row = 0; row < m_rows; ++row) {
        for (std::size_t column = 0; column < m_columns; ++column) {
            float& nearest = cells[row / 2 * columns + column / 2];
            nearest = std::min(nearest, m_cells[row * m_columns + column]);
        }
    }
    m_cells = std::move(cells);
    m_columns = columns;
    m_rows = rows;
    ++m_shift;
}

/// How deep the surface in a cell may be at the far side of the cell: as the slope continues that leads to
/// its neighbours. Of two neighbours on either side the one counts that is nearer in depth, as the other
/// may be of another surface. A thing without such a neighbour on some side hides nothing.
float DepthMap::continuedDepth(std::size_t row, std::size_t column) const {
    const bool isAtEdge = row == 0 || column == 0 || row + 1 >= m_rows || column + 1 >= m_columns;
    if (isAtEdge) return kFarAway;
    const std::size_t place = row * m_columns + column;
    const float depth = m_cells[place];
    if (depth == kFarAway) return kFarAway;
    float steepest = 0;
    for (const std::size_t aside : {std::size_t{1}, m_columns - 1, m_columns, m_columns + 1}) {
        const float step = std::min(std::abs(m_cells[place - aside] - depth),
                                    std::abs(m_cells[place + aside] - depth));
        steepest = std::max(steepest, step);
    }
    constexpr float kGrowth = 2;  // of the steps, as a slanted surface goes away from the camera
    return depth + kGrowth * steepest;
}

bool DepthMap::isCoveredAround(const Pixel& pixel, float depth) const {
    if (m_shift == 0) return true;
    const int half = 1 << (m_shift - 1);
    const int aside = (pixel.column & half) != 0 ? 2 * half : -2 * half;
    const int above = (pixel.row & half) != 0 ? 2 * half : -2 * half;
    // Cells at the edges of the photo cover nothing, so these are inside.
    const auto covers = [&](int columns, int rows) {
        return depth > m_cells[cellOf({pixel.column + columns, pixel.row + rows})];
    };
    return covers(aside, 0) && covers(0, above) && covers(aside, above);
}

DepthMaps::DepthMaps(std::shared_ptr<const Station> station) : m_station(std::move(station)) {
    const std::size_t most = cellsPerPhoto(m_station->cameras.size());
    m_maps.reserve(m_station->cameras.size());
    for (const Camera& camera : m_station->cameras)
        m_maps.emplace_back(camera.size, most);
}

void DepthMaps::add(const double* positions, std::size_t count) {
    struct Finder {
        DepthMaps& maps;
        const double* position;

        void found(const CameraBoxTree::Entry& entry) {
            const auto place = static_cast<std::size_t>(entry.second);
            Pixel pixel;
            const bool isSeen = maps.m_station->cameras[place].projection.project(
                position[0], position[1], position[2], pixel);
            if (isSeen) maps.m_maps[place].add(pixel, maps.depthOf(place, position));
        }
    };
    for (std::size_t i = 0; i < count; ++i) {
        const double* const position = positions + 3 * i;
        std::array<double, 3> onSphere{};
        if (placeOnSphere(position, onSphere)) {
            m_station->boxes.find(onSphere, Finder{*this, position});
        }
    }
}

void DepthMaps::finish() {
    constexpr float kSlack = 50;  // millimetres
    for (DepthMap& map : m_maps)
        map.finish(kSlack);
}

}  // namespace brisko
