#include "codec/alignment_matrix.h"

#include <cstring>

namespace brisko {

AlignmentMatrix::AlignmentMatrix(const Rows& rows) : m_rows(rows), m_kind(kindOf(rows)) {
}

AlignmentMatrix AlignmentMatrix::none() {
    AlignmentMatrix matrix;
    matrix.m_kind = Kind::None;
    return matrix;
}

AlignmentMatrix::Kind AlignmentMatrix::kindOf(const Rows& rows) {
    // Compared as bytes: an identity with a -0 in it gives other signs of zero.
    const AlignmentMatrix identity;
    if (std::memcmp(rows.data(), identity.m_rows.data(), sizeof rows) == 0) return Kind::Identity;
    const bool unitW = rows[12] == 0 && rows[13] == 0 && rows[14] == 0 && rows[15] == 1;
    return unitW ? Kind::Affine : Kind::Projective;
}

}  // namespace brisko
