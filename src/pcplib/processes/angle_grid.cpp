#include "pcplib/processes/angle_grid.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <utility>

namespace QelPcpLib {

namespace {

constexpr double kDegrees = 180.0 / std::numbers::pi;

bool isUsable(std::size_t count) {
    return count > 0 && count <= std::numeric_limits<std::int32_t>::max();
}

bool isZenithAngle(float angle) {
    return angle >= 0.0F && angle <= 180.0F;
}

}  // namespace

AngleGrid::Axis AngleGrid::axis(float start, float stop, float step, std::size_t count) {
    const double size = std::fabs(static_cast<double>(step));
    return {static_cast<double>(start), stop < start ? -size : size,
            static_cast<std::uint32_t>(count)};
}

std::optional<AngleGrid> AngleGrid::fromHeader(const CL3FileHeader& header) {
    const std::size_t columns = header.GetAzimuthResolution();
    const std::size_t rows = header.GetZenithResolution();
    // A resolution is 0 where an angle or a step is not finite, or there is no span.
    if (!isUsable(columns) || !isUsable(rows)) return std::nullopt;
    AngleGrid grid;
    grid.m_azimuth = axis(header.GetStartAzimuthAngle(), header.GetStopAzimuthAngle(),
                          header.GetDeltaAzimuthAngle(), columns);
    grid.m_vertical = axis(header.GetStartZenithAngle(), header.GetStopZenithAngle(),
                           header.GetDeltaZenithAngle(), rows);
    grid.m_isElevation =
        !isZenithAngle(header.GetStartZenithAngle()) || !isZenithAngle(header.GetStopZenithAngle());
    return grid;
}

/// The step nearest to an offset from the start, in degrees.
std::uint32_t AngleGrid::Axis::nearest(double offset) const {
    const double steps = std::floor(offset / step + 0.5);
    if (!(steps > 0)) return 0;
    return steps < count ? static_cast<std::uint32_t>(steps) : count - 1;
}

brisko::Cell AngleGrid::cellOf(double x, double y, double z) const {
    const double elevation = std::atan2(z, std::hypot(x, y)) * kDegrees;
    const double vertical = m_isElevation ? elevation : 90.0 - elevation;

    // The way round the circle from the start, in the direction of the scan. What lies beyond the
    // end belongs to the end or to the start, whichever is nearer.
    const double sign = m_azimuth.step < 0 ? -1.0 : 1.0;
    double around = std::fmod((std::atan2(y, x) * kDegrees - m_azimuth.start) * sign, 360.0);
    if (around < 0) around += 360.0;
    const double span = std::fabs(m_azimuth.step) * m_azimuth.count;
    const bool nearerToStart = around > span - std::fabs(m_azimuth.step) / 2 &&
                               360.0 - around < around - (span - std::fabs(m_azimuth.step));
    const std::uint32_t column = nearerToStart ? 0 : m_azimuth.nearest(around * sign);
    return {column, m_vertical.nearest(vertical - m_vertical.start)};
}

FreeCells::FreeCells(std::uint32_t columns, std::uint32_t rows)
    : m_columns(columns),
      m_rows(rows),
      m_end(std::uint64_t{columns} * rows),
      m_pages(m_end / kPageCells + 1) {
}

std::optional<brisko::Cell> FreeCells::take(brisko::Cell wanted) {
    const std::uint64_t cell = std::uint64_t{wanted.column} * m_rows + wanted.row;
    if (isFree(cell)) return mark(cell);
    if (const auto near = inRings(wanted)) return mark(*near);
    std::uint64_t found = freeFrom(cell);
    if (found == m_end) found = freeFrom(0);
    if (found == m_end) return std::nullopt;
    return mark(found);
}

std::optional<std::uint64_t> FreeCells::inRings(brisko::Cell around) const {
    for (std::int64_t ring = 1; ring <= kFarthestRing; ++ring) {
        const std::int64_t left = std::int64_t{around.column} - ring;
        const std::int64_t top = std::int64_t{around.row} - ring;
        for (std::int64_t column = std::max<std::int64_t>(left, 0);
             column <= std::min<std::int64_t>(left + 2 * ring, m_columns - 1); ++column) {
            const bool side = column == left || column == left + 2 * ring;
            for (std::int64_t row = top; row <= top + 2 * ring; row += side ? 1 : 2 * ring) {
                if (row < 0 || row >= m_rows) continue;
                const std::uint64_t cell = static_cast<std::uint64_t>(column * m_rows + row);
                if (isFree(cell)) return cell;
            }
        }
    }
    return std::nullopt;
}

std::uint64_t FreeCells::next(std::uint64_t cell) const {
    const Page& page = m_pages[cell / kPageCells];
    return page ? page[cell % kPageCells] : cell;
}

std::uint64_t FreeCells::freeFrom(std::uint64_t cell) {
    std::uint64_t found = cell;
    while (next(found) != found)
        found = next(found);
    // The next search from a cell on the way goes straight to the end. All cells on the way are taken,
    // so their pages are there.
    while (cell != found)
        cell = std::exchange(m_pages[cell / kPageCells][cell % kPageCells], found);
    return found;
}

brisko::Cell FreeCells::mark(std::uint64_t cell) {
    Page& page = m_pages[cell / kPageCells];
    if (!page) {
        page.reset(new std::uint64_t[kPageCells]);
        std::iota(page.get(), page.get() + kPageCells, cell / kPageCells * kPageCells);
    }
    page[cell % kPageCells] = cell + 1;
    return {static_cast<std::uint32_t>(cell / m_rows), static_cast<std::uint32_t>(cell % m_rows)};
}

}  // namespace QelPcpLib
