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

/// Reads a scan point by point and in batches of a size; both give the points expected.
inline void expectPoints(BriskoCodec& codec, const SlowPoints& expected, std::size_t batch) {
    const std::size_t count = expected.points.size();
    test::TestPoint point;
    for (std::size_t i = 0; i < count; ++i) {
        expect(i == 0 ? test::readFirst(codec, point) : test::readNext(codec, point));
        expect(isSame(point, expected.points[i]));
    }
    if (expected.complete)
        expect(!(count == 0 ? test::readFirst(codec, point) : test::readNext(codec, point)));

    std::vector<double> positions(3 * batch);
    std::vector<float> intensities(batch);
    std::vector<std::uint8_t> colours(3 * batch);
    std::vector<std::uint32_t> columns(batch), rows(batch);
    const PointArrays arrays{positions.data(), intensities.data(), colours.data(), columns.data(),
                             rows.data()};
    PointBatchReader reader(codec);
    for (std::size_t done = 0; done < count;) {
        const std::size_t wanted = std::min(batch, count - done);
        const std::size_t got =
            done == 0 ? reader.readFirst(arrays, wanted) : reader.readNext(arrays, wanted);
        expect(got == wanted);
        for (std::size_t i = 0; i < got; ++i, ++done) {
            const test::TestPoint batched{
                positions[3 * i],   positions[3 * i + 1], positions[3 * i + 2],
                intensities[i],     colours[3 * i],       colours[3 * i + 1],
                colours[3 * i + 2], columns[i],           rows[i]};
            expect(isSame(batched, expected.points[done]));
        }
    }
    if (expected.complete)
        expect((count == 0 ? reader.readFirst(arrays, 1) : reader.readNext(arrays, 1)) == 0);
}

}  // namespace brisko::fuzz
