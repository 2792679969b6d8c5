#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace brisko {

using Vector3 = std::array<double, 3>;

inline double dot(const Vector3& a, const Vector3& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// A 3x3 matrix, row by row.
struct Matrix3 {
    std::array<Vector3, 3> rows{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

    Matrix3 transposed() const {
        Matrix3 result;
        for (std::size_t r = 0; r < 3; ++r) {
            for (std::size_t c = 0; c < 3; ++c)
                result.rows[c][r] = rows[r][c];
        }
        return result;
    }

    Vector3 operator*(const Vector3& v) const {
        return {dot(rows[0], v), dot(rows[1], v), dot(rows[2], v)};
    }

    Matrix3 operator*(const Matrix3& other) const {
        const Matrix3 columns = other.transposed();
        Matrix3 result;
        for (std::size_t r = 0; r < 3; ++r)
            result.rows[r] = columns * rows[r];
        return result;
    }
};

/// Rotations by an angle in radians about an axis; positive turns y to z, z to x and x to y.
inline Matrix3 rotationX(double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {{{{1, 0, 0}, {0, c, -s}, {0, s, c}}}};
}
inline Matrix3 rotationY(double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {{{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}}};
}
inline Matrix3 rotationZ(double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    return {{{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}}};
}

/// Where a frame lies in the scanner's frame: takes scanner-frame points, millimetres, into it.
struct CameraPose {
    Matrix3 rotation;
    Vector3 offset{0, 0, 0};  // millimetres

    /// The head that carries the camera. The horizontal angle is counter-clockwise from +x seen from
    /// above, the tilt positive upwards, both radians: the head's own x axis points there. Levelling
    /// takes the scanner's frame to the frame in which the angles were taken.
    static CameraPose ofHead(double horizontal, double tilt, const Matrix3& levelling) {
        return {rotationY(tilt) * (rotationZ(-horizontal) * levelling), {0, 0, 0}};
    }

    /// A frame inside this one: its origin (millimetres) and its axes, the columns of the matrix.
    CameraPose inside(const Vector3& origin, const Matrix3& axes) const {
        const Matrix3 into = axes.transposed();
        const Vector3 shifted = {offset[0] - origin[0], offset[1] - origin[1],
                                 offset[2] - origin[2]};
        return {into * rotation, into * shifted};
    }

    /// A direction of this frame in the scanner's frame.
    Vector3 toScanner(const Vector3& direction) const { return rotation.transposed() * direction; }
};

/// Axes turned by three angles in radians, first about x, then about the new y, then the new z.
inline Matrix3 axesFromAngles(double omega, double phi, double kappa) {
    return rotationX(omega) * (rotationY(phi) * rotationZ(kappa));
}

/// The distortion coefficients that are used: k1, k2, k3, p1, p2, in powers of millimetres.
using Coefficients = std::array<double, 5>;

/// A calibrated camera as its files describe it, independent of the size of its photos. Lengths are
/// metres, as the files' numbers are divided by 1000 when they are read.
struct CameraModel {
    double principalDistance = 0;
    double principalX = 0, principalY = 0;
    std::int32_t modelCode = 0;
    Coefficients coefficients{};
    double pitchX = 0, pitchY = 0;  // pixel to pixel
    double pixelSize = 0;           // millimetres; the first pitch
    CameraPose pose;
};

}  // namespace brisko
