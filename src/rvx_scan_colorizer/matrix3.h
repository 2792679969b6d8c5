#pragma once

#include <array>
#include <cmath>

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

}  // namespace brisko
