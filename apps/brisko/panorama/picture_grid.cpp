#include "panorama/picture_grid.h"

#include <algorithm>
#include <cmath>

namespace brisko::tool {
namespace {

constexpr double kFarthest = 1e9;  // metres; beyond it nothing was measured

std::uint32_t gathered(std::uint32_t place, std::uint32_t cells, std::uint32_t size) {
    return static_cast<std::uint32_t>(std::uint64_t{place} * size / cells);
}

struct Range {
    std::uint32_t first;
    std::uint32_t end;
};

/// The gathered cells of a share of them, at least one.
Range cellsOf(double first, double end, std::uint32_t size) {
    const auto begin = std::min(static_cast<std::uint32_t>(first * size), size - 1);
    const auto stop = static_cast<std::uint32_t>(std::lround(end * size));
    return {begin, std::clamp(stop, begin + 1, size)};
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
      m_sums(std::size_t{m_width} * m_height * m_channels),
      m_counts(std::size_t{m_width} * m_height) {
}

void PictureGrid::add(std::span<const CellPoint> points) {
    for (const CellPoint& point : points) {
        if (point.column >= m_columns || point.row >= m_rows) continue;
        const std::size_t x = gathered(point.column, m_columns, m_width);
        const std::size_t y = gathered(point.row, m_rows, m_height);
        addTo(y * m_width + x, point);
    }
}

void PictureGrid::addTo(std::size_t cell, const CellPoint& p) {
    float* sums = m_sums.data() + cell * m_channels;
    switch (m_mode) {
        case PictureMode::Range: {
            const double range = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
            if (!(range <= kFarthest)) return;
            sums[0] += static_cast<float>(range);
            break;
        }
        case PictureMode::Intensity:
            if (!std::isfinite(p.intensity)) return;
            sums[0] += p.intensity;
            break;
        case PictureMode::Colour:
            sums[0] += p.red;
            sums[1] += p.green;
            sums[2] += p.blue;
            break;
    }
    ++m_counts[cell];
}

PictureValue PictureGrid::mean(double firstColumn, double endColumn, double firstRow,
                               double endRow) const {
    const Range xs = cellsOf(firstColumn, endColumn, m_width);
    const Range ys = cellsOf(firstRow, endRow, m_height);
    PictureValue value;
    double count = 0;
    double sums[3] = {0, 0, 0};
    for (std::size_t y = ys.first; y < ys.end; ++y) {
        for (std::size_t x = xs.first; x < xs.end; ++x) {
            const std::size_t cell = y * m_width + x;
            count += m_counts[cell];
            for (std::size_t c = 0; c < m_channels; ++c) {
                sums[c] += static_cast<double>(m_sums[cell * m_channels + c]);
            }
        }
    }
    if (count == 0) return value;
    value.isEmpty = false;
    for (std::size_t c = 0; c < m_channels; ++c) {
        value.channels[c] = static_cast<float>(sums[c] / count);
    }
    return value;
}

}  // namespace brisko::tool
