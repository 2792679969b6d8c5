#include "simulator/scanner.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

namespace brisko::simulator {

namespace {

constexpr double kFullScale = 2200;  // of intensities

/// Metres, both ends inside.
struct RangeInterval {
    double low, high;
};

/// By block flag: the whole range first, then the shorter ones that a scanner switches through.
constexpr RangeInterval kIntervals[] = {{0, 200}, {0, 40}, {25, 60}, {9, 25}, {0, 9}};

bool seesRange(std::uint8_t flag, double range) {
    const RangeInterval& interval = kIntervals[flag < std::size(kIntervals) ? flag : 0];
    return range >= interval.low && range <= interval.high;
}

/// A pane of glass or water answers only within about 37 degrees of its normal.
bool returnsLight(const Hit& hit, double facing) {
    return !hit.mirroring || facing > 0.8;
}

/// Brighter when struck head-on and near by, 0 to 1.
double returnedLight(const Hit& hit, double facing) {
    constexpr double kHalfRange = 40;  // metres at which half of the light is left
    const double decay =
        kHalfRange * kHalfRange / (kHalfRange * kHalfRange + hit.distance * hit.distance);
    return hit.reflectance * (0.3 + 0.7 * facing) * decay;
}

/// Whole numbers as scanners give them. A measured point never gets 0, which means no point.
float toIntensity(double light) {
    return static_cast<float>(std::floor(std::clamp(light * kFullScale, 1.0, kFullScale)));
}

constexpr double kMissedShare = 0.04;  // cells that a later pass misses
constexpr double kStrayShare = 0.01;   // cells in which it catches something nearer

}  // namespace

Scanner::Scanner(const Station& station, const ScanGrid& grid, const ScannerSettings& settings)
    : m_station(station), m_grid(grid), m_settings(settings) {
    m_rowTurns.reserve(grid.rows);
    for (std::uint32_t row = 0; row < grid.rows; ++row) {
        m_rowTurns.push_back(turn(grid.zenith(row)));
    }
}

Scanner::Turn Scanner::turn(double degrees) {
    const double radians = degrees * (std::numbers::pi / 180);
    return {std::sin(radians), std::cos(radians)};
}

void Scanner::measureColumn(const ScanPass& pass, std::uint32_t number,
                            std::span<Measurement> column) const {
    const Turn azimuth = turn(m_grid.azimuth(number));
    const std::uint64_t passPlace = scatter(m_settings.seed) + pass.number;
    const std::uint64_t columnPlace = scatter(scatter(passPlace) + number);
    for (std::uint32_t row = 0; row < m_grid.rows; ++row) {
        const Turn& zenith = m_rowTurns[row];
        const Vector3 direction{zenith.sine * azimuth.cosine, zenith.sine * azimuth.sine,
                                zenith.cosine};
        column[row] = measure(pass, direction, Noise(scatter(columnPlace + row)));
    }
}

Measurement Scanner::measure(const ScanPass& pass, const Vector3& direction, Noise noise) const {
    const Vector3 ray = m_station.pose.axes * direction;
    const Hit hit = m_station.scene.cast(m_station.pose.origin, ray);
    if (!hit) return {};
    const double facing = -dot(hit.normal, ray);
    if (!seesRange(pass.flag, hit.distance) || !returnsLight(hit, facing)) return {};

    double noiseLevel = m_settings.rangeNoise;
    double stray = 1;
    if (pass.number > 0) {
        const double fate = noise.uniform();
        if (fate < kMissedShare) return {};
        if (fate > 1 - kStrayShare) stray = 0.3 + 0.6 * noise.uniform();
        noiseLevel *= 1 + 0.25 * (pass.number % 4);
    }
    const double range = hit.distance * stray + noiseLevel * noise.gaussian();
    const double light = returnedLight(hit, facing) * (1 + 0.02 * noise.gaussian());
    const Vector3 point = direction * range;
    return {point.x, point.y, point.z, toIntensity(light), hit.colour};
}

}  // namespace brisko::simulator
