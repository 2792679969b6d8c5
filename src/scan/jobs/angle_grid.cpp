#include "scan/jobs/angle_grid.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace brisko::scan {
namespace {

constexpr double kDegrees = 180 / std::numbers::pi;
constexpr double kLeastGap = 10;  // degrees

struct Direction {
    double clockwise;  // degrees from +x, 0 up to, not including, 360
    double zenith;     // degrees from +z
    double level;      // how near to the horizon: 1, and 0 above and below the scanner
};

double wrapped(double degrees) {
    const double turned = degrees - 360 * std::floor(degrees / 360);
    return turned < 360 ? turned : 0;
}

std::optional<Direction> directionOf(const CellPoint& p) {
    const double across = std::hypot(p.x, p.y);
    const double range = std::hypot(across, p.z);
    if (!(range > 0) || !std::isfinite(range)) return std::nullopt;
    return Direction{wrapped(-std::atan2(p.y, p.x) * kDegrees), std::atan2(across, p.z) * kDegrees,
                     across / range};
}

/// How many steps a circle takes; a step given with some decimals may miss it by a little.
std::uint32_t stepsOfCircle(double step) {
    constexpr double kRoundedAway = 1e-3;
    return static_cast<std::uint32_t>(std::ceil(360 / step - kRoundedAway));
}

/// The cell of an angle that is so many steps after the middle of cell 0.
std::uint32_t cellAt(double steps, std::uint32_t cells) {
    const double cell = std::floor(steps + 0.5);
    return static_cast<std::uint32_t>(std::clamp(cell, 0.0, static_cast<double>(cells) - 1));
}

}  // namespace

bool AngleGrid::place(CellPoint& point) const {
    const std::optional<Direction> direction = directionOf(point);
    if (!direction) return false;
    // Half a cell lies before the middle of column 0.
    const double turned = wrapped(direction->clockwise + azimuth + step / 2) - step / 2;
    point.column = cellAt(turned / step, columns);
    point.row = cellAt((direction->zenith - zenith) / step, rows);
    return true;
}

void AngleSurvey::Phase::add(double steps, double weight) {
    const double angle = 2 * std::numbers::pi * (steps - std::floor(steps));
    x += weight * std::cos(angle);
    y += weight * std::sin(angle);
}

double AngleSurvey::Phase::value() const {
    return std::atan2(y, x) / (2 * std::numbers::pi);
}

AngleSurvey::AngleSurvey(double step)
    : m_step(step), m_sectors(stepsOfCircle(step), Sector{360, -1}) {
}

void AngleSurvey::add(std::span<const CellPoint> points) {
    for (const CellPoint& point : points) {
        const std::optional<Direction> direction = directionOf(point);
        if (!direction) continue;
        ++m_points;
        // Points near the zenith, whose azimuth means little, count little.
        m_azimuth.add(direction->clockwise / m_step, direction->level);
        m_zenith.add(direction->zenith / m_step, 1);
        m_highest = std::min(m_highest, direction->zenith);
        m_lowest = std::max(m_lowest, direction->zenith);
        const auto place = static_cast<std::size_t>(direction->clockwise / m_step);
        Sector& sector = m_sectors[std::min(place, m_sectors.size() - 1)];
        const auto angle = static_cast<float>(direction->clockwise);
        sector.least = std::min(sector.least, angle);
        sector.most = std::max(sector.most, angle);
    }
}

AngleGrid AngleSurvey::grid() const {
    AngleGrid grid = wholeCircle();
    if (m_points > 0) leaveOutGap(grid);
    return grid;
}

AngleGrid AngleSurvey::wholeCircle() const {
    AngleGrid grid;
    grid.step = m_step;
    grid.azimuth = -m_azimuth.value() * m_step;
    grid.columns = static_cast<std::uint32_t>(m_sectors.size());
    if (m_points == 0) return grid;
    const double phase = m_zenith.value();
    const auto rowOf = [&](double zenith) { return std::floor(zenith / m_step - phase + 0.5); };
    grid.zenith = (rowOf(m_highest) + phase) * m_step;
    grid.rows = static_cast<std::uint32_t>(rowOf(m_lowest) - rowOf(m_highest)) + 1;
    return grid;
}

/// The widest gap between sectors with points, where that is wide enough, ends before column 0.
void AngleSurvey::leaveOutGap(AngleGrid& grid) const {
    double last = -1, first = -1;  // of all sectors with points, degrees clockwise
    double gap = 0, gapEnd = 0;
    for (const Sector& sector : m_sectors) {
        if (sector.least > sector.most) continue;
        const auto least = static_cast<double>(sector.least);
        if (first < 0) first = least;
        if (last >= 0 && least - last > gap) {
            gap = least - last;
            gapEnd = least;
        }
        last = static_cast<double>(sector.most);
    }
    if (first + 360 - last > gap) {
        gap = first + 360 - last;
        gapEnd = first;
    }
    if (gap < std::max(kLeastGap, 2 * m_step)) return;
    const double phase = m_azimuth.value();
    const auto columnOf = [&](double degrees) {
        return std::floor(degrees / m_step - phase + 0.5);
    };
    const double begin = columnOf(gapEnd), end = columnOf(gapEnd + 360 - gap);
    grid.azimuth = -(begin + phase) * m_step;
    grid.columns = static_cast<std::uint32_t>(std::min<double>(end - begin + 1, grid.columns));
}

}  // namespace brisko::scan
