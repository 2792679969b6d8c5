#pragma once

#include "rvx_scan_colorizer/camera_model.h"
#include "rvx_scan_colorizer/camera_traits.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
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

struct Pixel {
    int column = 0;
    int row = 0;
};

/// The nearest whole number, halves upwards.
inline double roundHalfUp(double value) {
    return std::floor(value + 0.5);
}

/// The same of a value that is not negative, as an int; several times as fast.
inline int nearestInt(double value) {
    const double raised = value + 0.5;
    return static_cast<int>(raised);
}

/// From scanner-frame points to pixels of a photo's working frame and back.
class Projection {
public:
    /// Sees nothing.
    Projection() = default;
    Projection(const CameraModel& model, const CameraTraits& traits, const ImageSize& nominal,
               const ImageSize& working);

    /// Where a point appears: x, y, z metres, scanner frame. Returns false when it does not: behind
    /// the camera, in the margin, outside.
    bool project(double x, double y, double z, Pixel& pixel) const {
        double column = 0, row = 0;
        if (!isShown(1000 * x, 1000 * y, 1000 * z, column, row)) return false;
        pixel = {static_cast<int>(column), static_cast<int>(row)};
        return true;
    }

    static constexpr std::size_t kMostPoints = 64;
    /// The same of some points, at most so many, in a fraction of the time. Points are millimetres here: all
    /// x, all y, all z. Where a point appears, columns and rows get its pixel, with what is left of it after
    /// the decimal point; where it does not, the column is below 0.
    void project(const double* x, const double* y, const double* z, std::size_t count,
                 double* columns, double* rows) const {
        if (count > 1) return projectMany(x, y, z, count, columns, rows);
        if (count == 1 && !isShown(*x, *y, *z, *columns, *rows)) *columns = -1;
    }

    /// How far before the camera a point lies, along the direction in which it looks: millimetres.
    double depthOf(double x, double y, double z) const {
        const Vector3& axis = m_pose.rotation.rows[2];
        return -(1000 * (axis[0] * x + axis[1] * y + axis[2] * z) + m_pose.offset[2]);
    }

    /// The direction, a unit vector in the scanner's frame, from the camera to what a pixel shows. A
    /// pixel beyond the reach of the lens shows nothing; it gets the last direction before it, and
    /// `isBeyondReach` becomes true. Throws std::exception, without a message, when the calibration
    /// gives no direction.
    Vector3 directionTo(const Pixel& pixel, bool& isBeyondReach) const;

    int marginX() const { return m_marginX; }
    int marginY() const { return m_marginY; }

private:
    /// The place in the photo of a point, millimetres, with what is left after the pixel.
    bool isShown(double x, double y, double z, double& column, double& row) const {
        const Matrix3& r = m_pose.rotation;
        const double cz = r.rows[2][0] * x + r.rows[2][1] * y + r.rows[2][2] * z + m_pose.offset[2];
        // The camera looks along its negative z axis. Also false for a NaN.
        if (!(cz < -1e-12)) return false;
        const double cx = r.rows[0][0] * x + r.rows[0][1] * y + r.rows[0][2] * z + m_pose.offset[0];
        const double cy = r.rows[1][0] * x + r.rows[1][1] * y + r.rows[1][2] * z + m_pose.offset[1];
        const double scale = -m_principalDistance / cz;
        double u = cx * scale, v = cy * scale;
        if (!m_distortion.apply(u, v)) return false;
        // Rounding to the nearest is cutting what is half a pixel more; below the first pixel
        // nothing is cut, as the margins are tested before.
        column = (u + m_originX) / m_pitchX + 0.5;
        row = (m_originY - v) / m_pitchY + 0.5;
        return column >= m_firstColumn && column < m_endColumn && row >= m_firstRow &&
               row < m_endRow;
    }
    void projectMany(const double* x, const double* y, const double* z, std::size_t count,
                     double* columns, double* rows) const;
    void projectPlainly(const double* x, const double* y, const double* z, std::size_t count,
                        double* columns, double* rows) const;
    void projectWidely(const double* x, const double* y, const double* z, std::size_t count,
                       double* columns, double* rows) const;

    CameraPose m_pose;
    double m_principalDistance = 0;       // millimetres, as all lengths here
    double m_originX = 0, m_originY = 0;  // the principal point, from the corner of the picture
    double m_pitchX = 1, m_pitchY = 1;    // of the working frame
    double m_firstColumn = 0, m_endColumn = 0;  // what the margins leave; nothing, to begin with
    double m_firstRow = 0, m_endRow = 0;
    Distortion m_distortion;
    double m_tolerance = 0;
    int m_marginX = 0, m_marginY = 0;
};

/// The nominal number of pixels across the sensor, by the size of its pixels in millimetres.
int sensorWidth(double pixelSize);

}  // namespace brisko
