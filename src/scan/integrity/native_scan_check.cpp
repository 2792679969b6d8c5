#include "scan/integrity/native_scan_check.h"

#include "layouts/records.h"
#include "scan/files/input_file.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/scan_layout.h"

#include <brisko_scan/text.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
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

constexpr const char* kCoordinate = "coordinate";
constexpr std::uint64_t kShare = 10;  // one in ten

std::string positionText(const CellPoint& p) {
    char text[96];
    std::snprintf(text, sizeof text, "(%.9g, %.9g, %.9g)", p.x, p.y, p.z);
    return text;
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
    range.findSlopes();
    return range;
}

void DirectionRange::findSlopes() {
    constexpr double kMargin = 1e-6;  // degrees; closer to the limits the angles decide
    constexpr double kEndless = std::numeric_limits<double>::infinity();
    if (m_azimuth.high - m_azimuth.low + 2 * kSteps * m_azimuth.step < 360) return;
    const double low = m_vertical.low - kSteps * m_vertical.step + kMargin;
    const double high = m_vertical.high + kSteps * m_vertical.step - kMargin;
    const double lowest = m_isElevation ? low : 90 - high;
    const double highest = m_isElevation ? high : 90 - low;
    m_lowestSlope = lowest <= -90 ? -kEndless : std::tan(lowest / kDegrees);
    m_highestSlope = highest >= 90 ? kEndless : std::tan(highest / kDegrees);
}

bool DirectionRange::containsByAngles(double x, double y, double z) const {
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

PointCheck::PointCheck(ScanCheck& check, const CLFileHeader& header)
    : m_check(check), m_range(DirectionRange::fromHeader(header)) {
    if (!m_range) check.notes.push_back("the header gives no angles to compare the points with");
}

void PointCheck::note(const char* kind, const CellPoint& point, std::uint64_t block,
                      std::uint64_t number, std::uint64_t offset, const std::string& what) {
    std::string text;
    // The text of what is only counted is never seen.
    if (m_check.findings.isKept(kind)) {
        text = "record " + std::to_string(number) + " " + positionText(point) + " " + what;
    }
    m_check.findings.add({kind, m_check.path, block, offset, std::move(text)});
}

void PointCheck::look(const CellPoint& point, std::uint64_t block, std::uint64_t number,
                      std::uint64_t offset) {
    if (!isFinite(point)) {
        note(kCoordinate, point, block, number, offset, "is not finite in all its numbers");
    } else if (m_range && !m_range->contains(point.x, point.y, point.z)) {
        ++m_outside;
        note(kAngleFinding, point, block, number, offset, "lies outside the header's angles");
    }
}

void PointCheck::finish() {
    if (m_outside == 0 || m_outside < m_check.points / kShare) return;
    m_check.findings.drop(kAngleFinding);
    m_check.notes.push_back(countOf(m_outside, "point") + " of " + std::to_string(m_check.points) +
                            " outside the header's angles: they count in another way than degrees, "
                            "counter-clockwise from +x and down from +z");
}

void checkHeaderAngles(ScanCheck& check, const CLFileHeader& header) {
    if (!hasFiniteAngles(header)) check.findings.add({"header", check.path, {}, 0, kBadAngle});
}

void checkAlignmentFile(ScanCheck& check) {
    if (alignmentOf(check.path).source != AlignmentSource::Unreadable) return;
    const std::string path = companionOf(check.path, ".alg");
    check.findings.add({"alignment", path, {}, {}, "cannot be read as an alignment"});
}

}  // namespace brisko::scan
