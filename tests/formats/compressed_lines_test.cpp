#include "layouts/compressed_lines.h"

#include "support/scan_bytes.h"

#include <gtest/gtest.h>

namespace brisko {
namespace {

using namespace test;

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
    const Bytes stream = fromHex(
        "e5 00010000 fffffe 0100 ff 07d0"
        "00 01 ff 80 7f 9c"
        "00");
    const auto points = decode(stream, 2);
    EXPECT_TRUE(same(points[0], {65536, -2, 256, -1, 2000}));
    EXPECT_TRUE(same(points[1], {65537, -3, 128, 126, 1900}));
}

TEST(CompressedLines, LargestCodesAreAbsoluteAndOthersAdd) {
    // Both points: all five fields at their largest size.
    const Bytes stream = fromHex(
        "ff 00000064 000000c8 0000012c 0005 0006"
        "ff ffffffff 00000001 80000000 fffe 7fff"
        "00");
    const auto points = decode(stream, 2);
    EXPECT_TRUE(same(points[0], {100, 200, 300, 5, 6}));
    EXPECT_TRUE(same(points[1], {-1, 1, -2147483647 - 1, -2, 32767}));
}

TEST(CompressedLines, DifferencesWrapAround) {
    const Bytes stream = fromHex("c0 7fffffff 00 00 00 00  00 01 00 00 00 00 00");
    EXPECT_EQ(decode(stream, 2)[1].x, -2147483647 - 1);
}

TEST(CompressedLines, EncodesSmallStepsSmall) {
    const RawRecord line[] = {{100, 100, 100, 0, 50}, {101, 99, 100, 0, 51}};
    Bytes bytes;
    encodeCompressedLine(line, 2, bytes);
    EXPECT_EQ(bytes, fromHex("0d000000  00 64 64 64 00 32  00 01 ff 00 00 01  00"));
}

}  // namespace
}  // namespace brisko
