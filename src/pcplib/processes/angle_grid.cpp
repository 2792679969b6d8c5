#include "pcplib/processes/angle_grid.h"

#include <cmath>
#include <limits>
#include <numbers>

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

}  // namespace QelPcpLib
