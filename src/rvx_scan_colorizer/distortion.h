#pragma once

#include "rvx_scan_colorizer/camera_model.h"

#include <cmath>
#include <limits>
#include <vector>

namespace brisko {

/// What a lens does to a picture: takes the place where a point would appear without it to the place
/// where it does appear. Both are millimetres from the principal point, x to the right and y up:
///
///   x' = x (1 + k1 r^2 + k2 r^4 + k3 r^6) + p1 (r^2 + 2 x^2) + 2 p2 x y
///   y' = y (1 + k1 r^2 + k2 r^4 + k3 r^6) + p2 (r^2 + 2 y^2) + 2 p1 x y
///
/// The model code says which terms count: code 0 the radial ones, through a table over the
/// radius; code 1 all; code 2 the radial ones. Other codes are unknown.
class Distortion {
public:
    static constexpr int kSamples = 512;

    /// None.
    Distortion() = default;
    /// `radius` is where the table ends: half the diagonal of the sensor, millimetres.
    Distortion(std::int32_t modelCode, const Coefficients& coefficients, double radius);

    bool isKnown() const { return m_kind != Kind::Unknown; }

    /// Returns false where the point cannot be in the picture: the lens is unknown, or so far out
    /// that its polynomial turns back and would show the surroundings a second time.
    bool apply(double& x, double& y) const {
        if (m_kind == Kind::None) return true;
        const double r2 = x * x + y * y;
        if (!(r2 <= m_limit)) return false;
        if (m_kind == Kind::Table) {
            const double factor = tableFactor(r2);
            x *= factor;
            y *= factor;
            return true;
        }
        const double radial = radialFactor(r2);
        const auto [shiftX, shiftY] = tangentialShift(x, y);
        x = x * radial + shiftX;
        y = y * radial + shiftY;
        return true;
    }

    /// The way back, by iteration down to a tolerance in millimetres. Returns false when there is
    /// none.
    bool invert(double& x, double& y, double tolerance) const;

    /// The outermost place that the lens shows on the way to one that it does not reach. Returns false
    /// when it shows nothing at all.
    bool moveToReach(double& x, double& y) const;

private:
    enum class Kind { None, Table, Polynomial, Unknown };

    double radialFactor(double r2) const {
        const auto& k = m_coefficients;
        return 1 + r2 * (k[0] + r2 * (k[1] + r2 * k[2]));
    }
    struct Shift {
        double x, y;
    };
    Shift tangentialShift(double x, double y) const {
        const double p1 = m_coefficients[3], p2 = m_coefficients[4], r2 = x * x + y * y;
        return {p1 * (r2 + 2 * x * x) + 2 * p2 * x * y, p2 * (r2 + 2 * y * y) + 2 * p1 * x * y};
    }
    double tableFactor(double r2) const {
        const double place = std::sqrt(r2) * m_samplesPerMillimetre;
        if (!(place < kSamples - 1)) return radialFactor(r2);
        const auto sample = static_cast<std::size_t>(place);
        const double low = m_table[sample], high = m_table[sample + 1];
        return low + (high - low) * (place - static_cast<double>(sample));
    }
    double findLimit(double radius) const;
    double radiusShownAt(double shown) const;

    Kind m_kind = Kind::None;
    Coefficients m_coefficients{};
    double m_limit = std::numeric_limits<double>::infinity();  // square of the largest radius
    double m_samplesPerMillimetre = 0;
    std::vector<double> m_table;  // radial factors, evenly spaced over the radius
};

}  // namespace brisko
