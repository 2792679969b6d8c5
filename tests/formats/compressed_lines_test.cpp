#include "formats/compressed_lines.h"

#include "support/compressed_decoder.h"

#include <gtest/gtest.h>

#include <random>

namespace brisko {
namespace {

using test::Bytes;

/// Decodes through a buffer of the size that the decoder asks for.
std::vector<RawRecord> decode(const Bytes& stream, std::size_t count) {
    Bytes buffer(kPieceBuffer);
    std::copy(stream.begin(), stream.end(), buffer.begin());
    std::vector<RawRecord> points(count);
    decodePiece(buffer.data(), count, points.data());
    return points;
}

bool same(const RawRecord& a, const RawRecord& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z && a.fourth == b.fourth &&
           a.intensity == b.intensity;
}

TEST(CompressedLines, DecodesEverySizeOfEveryField) {
    // First point: x in 4 bytes (absolute), y in 3, z in 2, fourth in 1, intensity in 2 (absolute).
    // Second point: all fields as one-byte differences.
    const Bytes stream = test::fromHex(
        "e5 00010000 fffffe 0100 ff 07d0"
        "00 01 ff 80 7f 9c"
        "00");
    const auto points = decode(stream, 2);
    EXPECT_TRUE(same(points[0], {65536, -2, 256, -1, 2000}));
    EXPECT_TRUE(same(points[1], {65537, -3, 128, 126, 1900}));
}

TEST(CompressedLines, LargestCodesAreAbsoluteAndOthersAdd) {
    // Both points: all five fields at their largest size.
    const Bytes stream = test::fromHex(
        "ff 00000064 000000c8 0000012c 0005 0006"
        "ff ffffffff 00000001 80000000 fffe 7fff"
        "00");
    const auto points = decode(stream, 2);
    EXPECT_TRUE(same(points[0], {100, 200, 300, 5, 6}));
    EXPECT_TRUE(same(points[1], {-1, 1, -2147483647 - 1, -2, 32767}));
}

TEST(CompressedLines, DifferencesWrapAround) {
    const Bytes stream = test::fromHex("c0 7fffffff 00 00 00 00  00 01 00 00 00 00 00");
    EXPECT_EQ(decode(stream, 2)[1].x, -2147483647 - 1);
}

TEST(CompressedLines, EncodedLinesReadBackByAnotherDecoder) {
    std::mt19937 random(20);
    for (const std::size_t count : {1UL, 249UL, 250UL, 251UL, 600UL}) {
        std::vector<RawRecord> line(count);
        for (RawRecord& p : line) {
            // Steps of every size, from a few units to the whole range.
            const auto step = [&random] {
                return static_cast<std::int32_t>(random()) >> (random() % 32);
            };
            p = {step(), step(), step(), step() >> 16, step() >> 16};
        }
        Bytes bytes;
        encodeCompressedLine(line.data(), count, bytes);
        const auto decoded = test::decodeLine(bytes, count);
        ASSERT_EQ(decoded.size(), count);
        for (std::size_t i = 0; i < count; ++i) {
            const auto& d = decoded[i];
            EXPECT_TRUE(same(line[i], {d.x, d.y, d.z, d.fourth, d.intensity})) << i;
        }
    }
}

TEST(CompressedLines, EncodesSmallStepsSmall) {
    const RawRecord line[] = {{100, 100, 100, 0, 50}, {101, 99, 100, 0, 51}};
    Bytes bytes;
    encodeCompressedLine(line, 2, bytes);
    EXPECT_EQ(test::toHex(bytes),
              "0d000000"
              "00"
              "64"
              "64"
              "64"
              "00"
              "32"
              "00"
              "01"
              "ff"
              "00"
              "00"
              "01"
              "00");
}

}  // namespace
}  // namespace brisko
