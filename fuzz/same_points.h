#pragma once

#include "target.h"

#include "support/read_points.h"

#include <algorithm>
#include <bit>

namespace brisko::fuzz {

/// To the bit, but for what a NaN looks like.
inline bool isSame(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (a != a && b != b);
}
inline bool isSame(float a, float b) {
    return isSame(double{a}, double{b});
}

inline bool isSame(const test::TestPoint& a, const test::TestPoint& b) {
    return isSame(a.x, b.x) && isSame(a.y, b.y) && isSame(a.z, b.z) &&
           isSame(a.intensity, b.intensity) && a.red == b.red && a.green == b.green &&
           a.blue == b.blue && a.column == b.column && a.row == b.row;
}

/// The point taken through a matrix as its description says, without short cuts.
inline void align(const double (&m)[16], test::TestPoint& p) {
    const double x = p.x, y = p.y, z = p.z;
    const double w = m[12] * x + m[13] * y + m[14] * z + m[15];
    p.x = (m[0] * x + m[1] * y + m[2] * z + m[3]) / w;
    p.y = (m[4] * x + m[5] * y + m[6] * z + m[7]) / w;
    p.z = (m[8] * x + m[9] * y + m[10] * z + m[11]) / w;
}

/// What a slow reader answers.
enum class Slow { Point, End, Enough };

/// The points of a slow reader, and whether it came to the end.
struct SlowPoints {
    std::vector<test::TestPoint> points;
    bool complete = false;
};

template <class Model>
SlowPoints readSlowly(Model model) {
    SlowPoints all;
    test::TestPoint point;
    Slow answer = model.next(point);
    for (; answer == Slow::Point; answer = model.next(point))
        all.points.push_back(point);
    all.complete = answer == Slow::End;
    return all;
}

/// Reads a scan point by point and in batches of a size; both give the points expected, and no more where
/// the slow reader came to the end.
inline void expectPoints(BriskoCodec& codec, const SlowPoints& expected, std::size_t batch) {
    const std::size_t most = expected.points.size() + (expected.complete ? 1 : 0);
    for (const auto& read :
         {test::readAll(codec, most), test::readAllBatched(codec, batch, most)}) {
        expect(std::equal(read.begin(), read.end(), expected.points.begin(), expected.points.end(),
                          [](const auto& a, const auto& b) { return isSame(a, b); }));
    }
}

}  // namespace brisko::fuzz
