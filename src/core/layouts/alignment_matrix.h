#pragma once

#include <brisko_codec/alignment.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <optional>

namespace brisko {

/// A 4x4 matrix row by row: the element of row r and column c is at 4r + c.
using Matrix = std::array<double, 16>;
inline constexpr Matrix kIdentityMatrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// A matrix that a file gave.
inline Alignment toAlignment(const Matrix& matrix) {
    Alignment alignment;
    std::copy(matrix.begin(), matrix.end(), alignment.matrix);
    alignment.source = AlignmentSource::File;
    return alignment;
}

/// The matrix that takes back what an affine one does; nothing where there is none, or where it is no
/// finite numbers.
inline std::optional<Matrix> inverseOf(const Matrix& m) {
    if (m[12] != 0 || m[13] != 0 || m[14] != 0 || m[15] != 1) return std::nullopt;
    Matrix inverse = kIdentityMatrix;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            // The cofactor, without the signs of a chessboard: rows and columns go round.
            const std::size_t a = (column + 1) % 3, b = (column + 2) % 3;
            const std::size_t c = (row + 1) % 3, d = (row + 2) % 3;
            inverse[4 * row + column] = m[4 * a + c] * m[4 * b + d] - m[4 * a + d] * m[4 * b + c];
        }
    }
    const double determinant = m[0] * inverse[0] + m[1] * inverse[4] + m[2] * inverse[8];
    for (std::size_t row = 0; row < 3; ++row) {
        double* const r = inverse.data() + 4 * row;
        for (std::size_t column = 0; column < 3; ++column)
            r[column] /= determinant;
        r[3] = -(r[0] * m[3] + r[1] * m[7] + r[2] * m[11]);
    }
    const bool isFinite = std::all_of(inverse.begin(), inverse.end(),
                                      [](double element) { return std::isfinite(element); });
    return isFinite ? std::optional(inverse) : std::nullopt;
}

/// The matrix that every reader applies to its points: a full projective transform with a division
/// by w.
class AlignmentMatrix {
public:
    /// The identity.
    AlignmentMatrix() = default;
    explicit AlignmentMatrix(const Matrix& rows) : m_rows(rows), m_kind(kindOf(rows)) {}
    explicit AlignmentMatrix(const Alignment& alignment)
        : AlignmentMatrix(std::to_array(alignment.matrix)) {}
    /// Leaves points as they are, to the bit. (Multiplying by the identity turns -0 into 0, and an
    /// infinite coordinate into a NaN on every axis.)
    static AlignmentMatrix none() {
        AlignmentMatrix matrix;
        matrix.m_kind = Kind::None;
        return matrix;
    }

    const Matrix& rows() const { return m_rows; }

    /// Takes the point (x, y, z, 1) through the matrix, in place. Shorter ways are taken only where
    /// they give the same bits as the whole computation.
    void apply(double& x, double& y, double& z) const {
        if (m_kind == Kind::None) return;
        // Unless the matrix is projective, w of a finite point is 1.
        const bool isUnitW = m_kind != Kind::Projective && areFinite(x, y, z);
        if (m_kind == Kind::Identity && isUnitW) {
            // Adding 0 turns -0 into 0.
            x += 0.0;
            y += 0.0;
            z += 0.0;
            return;
        }
        const Matrix& m = m_rows;
        const double ax = m[0] * x + m[1] * y + m[2] * z + m[3];
        const double ay = m[4] * x + m[5] * y + m[6] * z + m[7];
        const double az = m[8] * x + m[9] * y + m[10] * z + m[11];
        if (isUnitW) [[likely]] {
            x = ax;
            y = ay;
            z = az;
            return;
        }
        const double w = m[12] * x + m[13] * y + m[14] * z + m[15];
        x = ax / w;
        y = ay / w;
        z = az / w;
    }

private:
    /// False also where the sum of huge coordinates is not finite, which takes the longer way.
    static bool areFinite(double x, double y, double z) {
        const double sum = x + y + z;
        return sum - sum == 0;
    }

    enum class Kind { None, Identity, Affine, Projective };
    static Kind kindOf(const Matrix& rows) {
        // Compared by their bits: an identity with a -0 in it gives other signs of zero.
        const auto sameBits = [](double a, double b) {
            return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
        };
        if (std::equal(rows.begin(), rows.end(), kIdentityMatrix.begin(), sameBits)) {
            return Kind::Identity;
        }
        const bool unitW = rows[12] == 0 && rows[13] == 0 && rows[14] == 0 && rows[15] == 1;
        return unitW ? Kind::Affine : Kind::Projective;
    }

    Matrix m_rows = kIdentityMatrix;
    Kind m_kind = Kind::Identity;
};

}  // namespace brisko
