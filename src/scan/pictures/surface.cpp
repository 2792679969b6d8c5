#include "scan/pictures/surface.h"

#include <algorithm>
#include <cmath>

namespace brisko::scan {
namespace {

constexpr std::int64_t kFarthestStep = 4;  // cells to a neighbour that a slope is taken from

/// What measured ranges scatter by, about: metres.
float noiseAt(float range) {
    return 0.004F + 0.0006F * range;
}

/// Neighbours farther apart than this show a slope rather than the noise.
float leastDistance(float range) {
    return 2 * noiseAt(range);
}

/// Whether a jump in range is an edge of the surface, beside the jump on the other side.
bool isEdge(float jump, float otherJump, float range) {
    return jump > 3 * otherJump + 0.004F * range;
}

}  // namespace

Surface::Surface(std::uint32_t width, std::uint32_t height)
    : m_width(width), m_height(height), m_columns(width), m_emptyColumn(height) {
    static_assert(kReach == kFarthestStep + 1);  // the normals of the columns beside, too
}

void Surface::setColumn(std::uint32_t column, const std::vector<GatheredCell>& cells) {
    if (cells.empty()) return;
    std::vector<Point>& points = m_columns[column];
    points.resize(m_height);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (cells[i].count == 0) continue;
        const auto [x, y, z] = cells[i].values;
        points[i] = {x, y, z, std::sqrt(x * x + y * y + z * z)};
    }
}

void Surface::releaseBefore(std::uint32_t column) {
    for (; m_released < std::min(column, m_width); ++m_released)
        std::vector<Point>().swap(m_columns[m_released]);  // its memory, too
}

const Surface::Point* Surface::columnAt(std::int64_t column) const {
    const bool isInside = column >= 0 && column < m_width;
    if (!isInside || m_columns[static_cast<std::size_t>(column)].empty())
        return m_emptyColumn.data();
    return m_columns[static_cast<std::size_t>(column)].data();
}

/// The direction of the surface along a row or a column: from neighbours that are far enough apart to show
/// more than the noise, and on this side of an edge.
///   at  the point so many cells away
template <class PointAt>
bool Surface::findSlope(const Point& p, const PointAt& at, Normal& slope) {
    bool isFound = false;
    const float least = leastDistance(p.range);
    for (std::int64_t step = 1; step <= kFarthestStep; step *= 2) {
        const Point& after = at(step);
        const Point& before = at(-step);
        const bool hasAfter = after.range > 0, hasBefore = before.range > 0;
        if (!hasAfter && !hasBefore) continue;
        const float afterJump = std::abs(after.range - p.range);
        const float beforeJump = std::abs(before.range - p.range);
        const bool usesAfter = hasAfter && !(hasBefore && isEdge(afterJump, beforeJump, p.range));
        const bool usesBefore = hasBefore && !(hasAfter && isEdge(beforeJump, afterJump, p.range));
        const Point& high = usesAfter ? after : p;
        const Point& low = usesBefore ? before : p;
        slope = {high.x - low.x, high.y - low.y, high.z - low.z};
        isFound = true;
        if (slope.x * slope.x + slope.y * slope.y + slope.z * slope.z >= least * least) break;
    }
    return isFound;
}

void Surface::findNormals(std::int64_t column, Normal* normals) const {
    std::array<const Point*, 2 * kFarthestStep + 1> around{};
    for (std::int64_t i = 0; i < static_cast<std::int64_t>(around.size()); ++i)
        around[static_cast<std::size_t>(i)] = columnAt(column + i - kFarthestStep);
    const Point* const own = around[kFarthestStep];
    const auto height = static_cast<std::int64_t>(m_height);
    const Point none;
    for (std::int64_t row = 0; row < height; ++row) {
        normals[row] = {};
        const Point& p = own[row];
        if (!(p.range > 0)) continue;
        Normal u, v;
        const auto across = [&](std::int64_t step) -> const Point& {
            return around[static_cast<std::size_t>(kFarthestStep + step)][row];
        };
        const auto down = [&](std::int64_t step) -> const Point& {
            return row + step >= 0 && row + step < height ? own[row + step] : none;
        };
        if (!findSlope(p, across, u) || !findSlope(p, down, v)) continue;
        Normal n = {u.y * v.z - u.z * v.y, u.z * v.x - u.x * v.z, u.x * v.y - u.y * v.x};
        const float length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
        if (!(length > 0)) continue;
        const bool looksAway = n.x * p.x + n.y * p.y + n.z * p.z > 0;
        const float scale = (looksAway ? -1 : 1) / length;
        normals[row] = {n.x * scale, n.y * scale, n.z * scale};
    }
}

/// The mean over the neighbours that lie at about the same range.
///   normals  of the columns before, at and after it
Surface::Normal Surface::smoothed(std::int64_t column, std::uint32_t row,
                                  const Normal* normals) const {
    const float range = columnAt(column)[row].range;
    const float most = 0.02F * range;
    Normal sum;
    const std::uint32_t firstRow = row > 0 ? row - 1 : 0;
    const std::uint32_t lastRow = std::min(row + 1, m_height - 1);
    for (std::int64_t side = -1; side <= 1; ++side) {
        const Point* const points = columnAt(column + side);
        const Normal* const its = normals + (side + 1) * static_cast<std::int64_t>(m_height);
        for (std::uint32_t r = firstRow; r <= lastRow; ++r) {
            if (!(std::abs(points[r].range - range) < most)) continue;
            const float weight = side == 0 && r == row ? 2.0F : 1.0F;
            sum.x += weight * its[r].x;
            sum.y += weight * its[r].y;
            sum.z += weight * its[r].z;
        }
    }
    const float length = std::sqrt(sum.x * sum.x + sum.y * sum.y + sum.z * sum.z);
    if (!(length > 0)) return {};
    return {sum.x / length, sum.y / length, sum.z / length};
}

/// How far a point lies behind its neighbours, as a share of its range: positive in grooves and beyond
/// edges, negative on ridges, 0 within what the noise makes. On a plane the inverse of the range changes
/// evenly, so that slopes count for nothing.
float Surface::grooveAt(std::int64_t column, std::uint32_t row, const Point& point) const {
    float groove = 0;
    const auto add = [&](const Point& a, const Point& b, float weight) {
        if (a.range > 0 && b.range > 0)
            groove += weight * (point.range * (1 / a.range + 1 / b.range) / 2 - 1);
    };
    for (const auto& [step, weight] : {std::pair{1U, 0.6F}, std::pair{2U, 0.4F}}) {
        add(columnAt(column + step)[row], columnAt(column - step)[row], weight);
        if (row >= step && row + step < m_height) {
            const Point* const own = columnAt(column) + row;
            add(own[step], *(own - step), weight);
        }
    }
    const float noise = (0.003F + 0.0004F * point.range) / point.range;
    return std::copysign(std::max(0.0F, std::abs(groove) - noise), groove);
}

namespace {

/// A lamp at the scanner, a little light from above, and the relief of grooves and ridges.
///   facing  cosine of the angle between the beam and the normal
///   up      of the normal
float shadeOf(float facing, float up, float groove) {
    const float light = 0.22F + 0.62F * facing + 0.08F * (1 + up);
    const float depth = std::clamp(100 * groove, 0.0F, 1.2F);
    const float ridge = std::clamp(-60 * groove, 0.0F, 0.2F);
    const float relief = (1 + ridge) / (1 + depth + depth * depth / 2);
    return std::clamp(0.98F * light * relief, 0.0F, 1.0F);
}

}  // namespace

void Surface::shade(std::uint32_t first, std::uint32_t end, std::vector<SurfaceCell>& cells) const {
    // The normals of three columns at a time: before, at and after the one that is shaded.
    std::vector<Normal> normals(3 * std::size_t{m_height});
    Normal* const last = normals.data() + 2 * std::size_t{m_height};
    findNormals(std::int64_t{first} - 1, normals.data() + m_height);
    findNormals(first, last);
    cells.assign(std::size_t{end - first} * m_height, {});
    SurfaceCell* cell = cells.data();
    for (std::uint32_t column = first; column < end; ++column) {
        std::copy(normals.begin() + m_height, normals.end(), normals.begin());
        findNormals(std::int64_t{column} + 1, last);
        const Point* const points = columnAt(column);
        for (std::uint32_t row = 0; row < m_height; ++row, ++cell) {
            const Point& p = points[row];
            if (!(p.range > 0)) continue;
            const Normal n = smoothed(column, row, normals.data());
            const bool isKnown = n.x != 0 || n.y != 0 || n.z != 0;
            const float facing =
                isKnown ? std::clamp(-(n.x * p.x + n.y * p.y + n.z * p.z) / p.range, 0.0F, 1.0F)
                        : 0.5F;
            cell->range = p.range;
            cell->place = {p.x, p.y, p.z};
            cell->normal = {n.x, n.y, n.z};
            cell->shade = shadeOf(facing, n.z, grooveAt(column, row, p));
        }
    }
}

}  // namespace brisko::scan
