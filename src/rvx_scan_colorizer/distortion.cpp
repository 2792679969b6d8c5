#include "rvx_scan_colorizer/distortion.h"

#include <algorithm>

namespace brisko {

Distortion::Distortion(std::int32_t modelCode, const Coefficients& coefficients, double radius)
    : m_coefficients(coefficients) {
    if (modelCode < 0 || modelCode > 2) {
        m_kind = Kind::Unknown;
        m_limit = -1;
        return;
    }
    if (modelCode != 1) m_coefficients[3] = m_coefficients[4] = 0;
    const bool none = std::all_of(m_coefficients.begin(), m_coefficients.end(),
                                  [](double coefficient) { return coefficient == 0; });
    if (none) return;
    const double limit = findLimit(radius);
    m_limit = limit * limit;
    m_kind = modelCode == 0 ? Kind::Table : Kind::Polynomial;
    if (m_kind != Kind::Table) return;
    m_samplesPerMillimetre = (kSamples - 1) / radius;
    for (int i = 0; i < kSamples; ++i) {
        const double r = radius * i / (kSamples - 1);
        m_table.push_back(radialFactor(r * r));
    }
}

/// The radius up to which points further out appear further out; looked for up to eight times the
/// sensor, which no lens of this kind reaches.
double Distortion::findLimit(double radius) const {
    constexpr double kReach = 8;
    constexpr int kSteps = 4096;
    for (int i = 1; i <= kSteps; ++i) {
        const double r = kReach * radius * i / kSteps, r2 = r * r;
        const double growth = 1 + r2 * (3 * m_coefficients[0] +
                                        r2 * (5 * m_coefficients[1] + r2 * 7 * m_coefficients[2]));
        if (!(growth > 0)) return kReach * radius * (i - 1) / kSteps;
    }
    return kReach * radius;
}

/// The radius at which a point appears that the lens shows at `shown`; out to the limit that is one.
double Distortion::radiusShownAt(double shown) const {
    constexpr int kHalvings = 60;
    double inner = 0, outer = std::sqrt(m_limit);
    for (int i = 0; i < kHalvings; ++i) {
        const double middle = (inner + outer) / 2;
        (middle * radialFactor(middle * middle) < shown ? inner : outer) = middle;
    }
    return outer;
}

bool Distortion::invert(double& x, double& y, double tolerance) const {
    constexpr int kMostSteps = 100;
    if (m_kind == Kind::None) return true;
    double idealX = x, idealY = y;
    for (int i = 0; i < kMostSteps; ++i) {
        // Without the tangential part, of which the last place gives an idea, only the radius moves.
        const auto [shiftX, shiftY] = tangentialShift(idealX, idealY);
        const double shown = std::hypot(x - shiftX, y - shiftY);
        const double scale = shown > 0 ? radiusShownAt(shown) / shown : 1;
        idealX = (x - shiftX) * scale;
        idealY = (y - shiftY) * scale;
        double shownX = idealX, shownY = idealY;
        if (!apply(shownX, shownY)) return false;
        if (std::abs(x - shownX) < tolerance && std::abs(y - shownY) < tolerance) {
            x = idealX;
            y = idealY;
            return true;
        }
    }
    return false;
}

bool Distortion::moveToReach(double& x, double& y) const {
    const double radius = std::hypot(x, y);
    if (!(radius > 0) || !(m_limit > 0) || !std::isfinite(m_limit)) return false;
    const double scale = std::sqrt(m_limit) / radius;
    x *= scale;
    y *= scale;
    return true;
}

}  // namespace brisko
