#pragma once

#include <cmath>

namespace brisko::tool {

/// A position in metres or a direction.
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

}  // namespace brisko::tool
