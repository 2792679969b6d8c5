#include "codec/alignment_matrix.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace brisko {

AlignmentMatrix::AlignmentMatrix(const Rows& rows) : m_rows(rows), m_kind(kindOf(rows)) {
}

AlignmentMatrix AlignmentMatrix::none() {
    AlignmentMatrix matrix;
    matrix.m_kind = Kind::None;
    return matrix;
}

AlignmentMatrix::Kind AlignmentMatrix::kindOf(const Rows& rows) {
    // Compared by their bits: an identity with a -0 in it gives other signs of zero.
    const auto sameBits = [](double a, double b) {
        return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
    };
    const Rows identity = AlignmentMatrix().m_rows;
    if (std::equal(rows.begin(), rows.end(), identity.begin(), sameBits)) return Kind::Identity;
    const bool unitW = rows[12] == 0 && rows[13] == 0 && rows[14] == 0 && rows[15] == 1;
    return unitW ? Kind::Affine : Kind::Projective;
}

}  // namespace brisko
