#include "scan/integrity/direction_range.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace brisko::scan {
namespace {

constexpr double kDegrees = 180 / std::numbers::pi;
constexpr double kSteps = 2;
constexpr double kOffCentre = 0.01;  // metres

/// The angle under which an offset from the centre appears.
double slack(double step, double distance) {
    return kSteps * step + std::atan2(kOffCentre, distance) * kDegrees;
}

}  // namespace

std::optional<DirectionRange::Axis> DirectionRange::axis(float start, float stop, float step) {
    const Axis axis{std::min(start, stop), std::max(start, stop), std::abs(step)};
    const double span = axis.high - axis.low;
    constexpr double kMost = 720;  // degrees; a full turn may overlap its own start
    if (!std::isfinite(start) || !std::isfinite(stop) || !std::isfinite(axis.step)) return {};
    if (!(span > 0) || span > kMost || !(axis.step > 0)) return {};
    return axis;
}

std::optional<DirectionRange> DirectionRange::fromHeader(const CLFileHeader& header) {
    const auto azimuth = axis(header.GetStartAzimuthAngle(), header.GetStopAzimuthAngle(),
                              header.GetDeltaAzimuthAngle());
    const auto vertical = axis(header.GetStartZenithAngle(), header.GetStopZenithAngle(),
                               header.GetDeltaZenithAngle());
    if (!azimuth || !vertical) return {};
    DirectionRange range;
    range.m_azimuth = *azimuth;
    range.m_vertical = *vertical;
    range.m_isElevation = vertical->low < 0 || vertical->high > 180;
    if (range.m_isElevation && (vertical->low < -90 || vertical->high > 90)) return {};
    return range;
}

bool DirectionRange::contains(double x, double y, double z) const {
    const double horizontal = std::hypot(x, y);
    const double distance = std::hypot(horizontal, z);
    if (distance == 0) return true;
    const double elevation = std::atan2(z, horizontal) * kDegrees;
    const double vertical = m_isElevation ? elevation : 90 - elevation;
    const double verticalSlack = slack(m_vertical.step, distance);
    if (vertical < m_vertical.low - verticalSlack || vertical > m_vertical.high + verticalSlack) {
        return false;
    }
    // Straight above and below the scanner every azimuth is as good as another.
    const double azimuthSlack = slack(m_azimuth.step, horizontal);
    const double span = m_azimuth.high - m_azimuth.low;
    if (span + 2 * azimuthSlack >= 360) return true;
    double around = std::fmod(std::atan2(y, x) * kDegrees - m_azimuth.low, 360.0);
    if (around < 0) around += 360;
    return around <= span + azimuthSlack || around >= 360 - azimuthSlack;
}

}  // namespace brisko::scan
