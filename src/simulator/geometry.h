#pragma once

#include <array>
#include <cmath>
#include <numbers>

namespace brisko::simulator {

/// A place or a direction. Metres, except where cameras are mounted: millimetres there.
struct Vector3 {
    double x = 0, y = 0, z = 0;
};

inline Vector3 operator+(const Vector3& a, const Vector3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vector3 operator-(const Vector3& a, const Vector3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vector3 operator-(const Vector3& a) {
    return {-a.x, -a.y, -a.z};
}
inline Vector3 operator*(const Vector3& a, double factor) {
    return {a.x * factor, a.y * factor, a.z * factor};
}
inline double dot(const Vector3& a, const Vector3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Vector3& a) {
    return std::sqrt(dot(a, a));
}
inline Vector3 unit(const Vector3& a) {
    return a * (1.0 / length(a));
}

/// A turned frame: its axes as the outer frame sees them, each of length 1. Takes vectors of the
/// turned frame to the outer one.
struct Rotation {
    Vector3 x{1, 0, 0}, y{0, 1, 0}, z{0, 0, 1};

    Vector3 operator*(const Vector3& v) const { return x * v.x + y * v.y + z * v.z; }
    /// a * b turns by b, then by a.
    Rotation operator*(const Rotation& inner) const {
        return {*this * inner.x, *this * inner.y, *this * inner.z};
    }
    Rotation inverse() const { return {{x.x, y.x, z.x}, {x.y, y.y, z.y}, {x.z, y.z, z.z}}; }
};

/// About x turns y towards z, about y z towards x, about z x towards y.
inline Rotation rotationAboutX(double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    const double c = std::cos(angle), s = std::sin(angle);
    return {{1, 0, 0}, {0, c, s}, {0, -s, c}};
}
inline Rotation rotationAboutY(double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    const double c = std::cos(angle), s = std::sin(angle);
    return {{c, 0, -s}, {0, 1, 0}, {s, 0, c}};
}
inline Rotation rotationAboutZ(double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    const double c = std::cos(angle), s = std::sin(angle);
    return {{c, s, 0}, {-s, c, 0}, {0, 0, 1}};
}

/// omega, phi and kappa in degrees, as x, y and z.
inline Rotation rotationOf(const Vector3& angles) {
    return rotationAboutX(angles.x) * rotationAboutY(angles.y) * rotationAboutZ(angles.z);
}
/// The way back. Not for phi of 90 degrees, where omega and kappa are not distinct.
inline Vector3 anglesOf(const Rotation& rotation) {
    constexpr double kDegrees = 180 / std::numbers::pi;
    return Vector3{std::atan2(-rotation.z.y, rotation.z.z), std::asin(rotation.z.x),
                   std::atan2(-rotation.y.x, rotation.x.x)} *
           kDegrees;
}

/// Where a frame lies in another: its origin and its axes, as the other frame sees them.
struct Pose {
    Vector3 origin;
    Rotation axes;

    /// The pose in the outer frame of what has the pose `inner` in this frame.
    Pose operator*(const Pose& inner) const {
        return {origin + axes * inner.origin, axes * inner.axes};
    }
    /// The 4x4 matrix to the outer frame, row by row.
    std::array<double, 16> matrix() const {
        return {axes.x.x, axes.y.x, axes.z.x, origin.x,  //
                axes.x.y, axes.y.y, axes.z.y, origin.y,  //
                axes.x.z, axes.y.z, axes.z.z, origin.z,  //
                0,        0,        0,        1};
    }
};

/// How the scanner stands: roll about x, then pitch about y, then heading about z, degrees.
inline Rotation standing(double heading, double pitch, double roll) {
    return rotationAboutZ(heading) * rotationAboutY(pitch) * rotationAboutX(roll);
}

}  // namespace brisko::simulator
