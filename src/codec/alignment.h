#pragma once

#include <brisko_codec/alignment.h>

#include "base/read_errors.h"

#include <array>
#include <string>

namespace brisko {

/// The 4x4 matrix that every reader applies to its points: a full projective transform with a
/// division by w. Row by row: the element of row r and column c is at 4r + c.
class AlignmentMatrix {
public:
    using Rows = std::array<double, 16>;

    /// The identity.
    AlignmentMatrix() = default;
    explicit AlignmentMatrix(const Rows& rows);
    /// Leaves points as they are, to the bit. (Multiplying by the identity turns -0 into 0, and an
    /// infinite coordinate into a NaN on every axis.)
    static AlignmentMatrix none();

    const Rows& rows() const { return m_rows; }

    /// Takes the point (x, y, z, 1) through the matrix, in place. Shorter ways are taken only where
    /// they give the same bits as the whole computation.
    void apply(double& x, double& y, double& z) const {
        if (m_kind == Kind::None) return;
        const Rows& m = m_rows;
        if (m_kind == Kind::Identity) {
            // w is 1, or NaN when a coordinate is not finite; adding 0 turns -0 into 0.
            const double w = 0.0 * x + 0.0 * y + 0.0 * z + 1.0;
            x = (x + 0.0) * w;
            y = (y + 0.0) * w;
            z = (z + 0.0) * w;
            return;
        }
        const double w = m[12] * x + m[13] * y + m[14] * z + m[15];
        const double ax = m[0] * x + m[1] * y + m[2] * z + m[3];
        const double ay = m[4] * x + m[5] * y + m[6] * z + m[7];
        const double az = m[8] * x + m[9] * y + m[10] * z + m[11];
        if (m_kind == Kind::Affine) {
            // w is 1 or NaN: multiplying is as good as dividing, and several times as fast.
            x = ax * w;
            y = ay * w;
            z = az * w;
        } else {
            x = ax / w;
            y = ay / w;
            z = az / w;
        }
    }

private:
    enum class Kind { None, Identity, Affine, Projective };
    static Kind kindOf(const Rows& rows);

    Rows m_rows{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    Kind m_kind = Kind::Identity;
};

/// Loads the alignment of a scan from its ALG file. The matrix stays as it is unless the answer is
/// File: a file that is missing, cannot be read, does not parse, or holds an element that is not a
/// finite number aligns nothing.
///   errors  may be null
AlignmentSource loadAlignment(const std::string& path, AlignmentMatrix& matrix,
                              ReadErrors* errors = nullptr);

/// The alignment that lies beside a scan.
Alignment alignmentBeside(const std::string& scanPath, ReadErrors& errors);

}  // namespace brisko
