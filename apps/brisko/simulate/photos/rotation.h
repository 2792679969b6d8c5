#pragma once

#include "simulate/vector3.h"

#include <numbers>

namespace brisko::tool {

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
    return {
        {1, 0, 0}, {0, std::cos(angle), std::sin(angle)}, {0, -std::sin(angle), std::cos(angle)}};
}
inline Rotation rotationAboutY(double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    return {
        {std::cos(angle), 0, -std::sin(angle)}, {0, 1, 0}, {std::sin(angle), 0, std::cos(angle)}};
}
inline Rotation rotationAboutZ(double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    return {
        {std::cos(angle), std::sin(angle), 0}, {-std::sin(angle), std::cos(angle), 0}, {0, 0, 1}};
}

/// omega, phi and kappa in degrees, as x, y and z.
inline Rotation rotationOf(const Vector3& angles) {
    return rotationAboutX(angles.x) * rotationAboutY(angles.y) * rotationAboutZ(angles.z);
}
/// The way back. Not for phi of 90 degrees, where omega and kappa cannot be told apart.
inline Vector3 anglesOf(const Rotation& rotation) {
    constexpr double kDegrees = 180 / std::numbers::pi;
    return Vector3{std::atan2(-rotation.z.y, rotation.z.z), std::asin(rotation.z.x),
                   std::atan2(-rotation.y.x, rotation.x.x)} *
           kDegrees;
}

/// Where a frame lies in another: its origin and its axes.
struct Placement {
    Vector3 origin;
    Rotation axes;

    /// A placement inside this frame, as the other frame sees it.
    Placement operator*(const Placement& inner) const {
        return {origin + axes * inner.origin, axes * inner.axes};
    }
};

}  // namespace brisko::tool
