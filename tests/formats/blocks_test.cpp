#include <brisko_codec/file_header.h>

#include "layouts/block_merge.h"
#include "layouts/compressed_lines.h"
#include "support/scan_bytes.h"

#include <gtest/gtest.h>

namespace brisko {
namespace {

using namespace test;

/// A return at a range along x, known by its fourth value.
struct Return {
    double range;  // metres; 0 for none
    std::uint8_t flag;
};

/// The index of the return that stands for the cell; -1 when none does.
int winner(const RangeTable& table, const std::vector<Return>& returns) {
    BlockMerge merge(table);
    merge.start(1);
    for (std::size_t i = 0; i < returns.size(); ++i) {
        const auto x = static_cast<std::int32_t>(returns[i].range * 10000.0 + 0.5);
        const RawRecord record{x, 0, 0, static_cast<std::int32_t>(i), x > 0 ? 100 : 0};
        merge.add(&record, returns[i].flag);
    }
    const RawRecord& merged = *merge.merged();
    return merged.intensity > 0 ? merged.fourth : -1;
}

TEST(BlockMerge, ChoosesOneReturnPerCell) {
    static constexpr RangeInterval kIntervals[] = {{0, 200}, {0, 40}, {25, 60}};
    const RangeTable perFlag{kIntervals, 3, 0.01};
    const RangeTable& byDefault = rangeTableFor("RVX1000\0\0\0\0\0");
    const struct {
        const char* what;
        const RangeTable& table;
        std::vector<Return> returns;
        int expected;
    } cases[] = {
        {"no return at all", byDefault, {{0, 0}, {0, 0}}, -1},
        {"the only return", byDefault, {{0, 0}, {5, 0}, {0, 0}}, 1},
        {"the farther of two surfaces", byDefault, {{12, 0}, {20, 0}}, 1},
        {"also when it comes first", byDefault, {{20, 0}, {12, 0}}, 0},
        {"one surface: nearer to the centre", byDefault, {{10.000, 0}, {10.005, 0}}, 1},
        {"one surface beyond the centre", byDefault, {{150.000, 0}, {150.005, 0}}, 0},
        {"a tie keeps the first", byDefault, {{10, 0}, {10, 0}}, 0},
        {"the tolerance itself keeps", byDefault, {{10.01, 0}, {10.0, 0}}, 0},
        {"just above it", byDefault, {{10, 0}, {10.0101, 0}}, 1},
        {"inside beats outside", perFlag, {{50, 1}, {50, 2}}, 1},
        {"inside stays", perFlag, {{50, 2}, {50, 1}}, 0},
        {"both inside: better centred", perFlag, {{39, 1}, {39, 2}}, 1},
        {"a flag without interval is outside", byDefault, {{50, 7}, {50, 0}}, 1},
        {"two such flags: the first stays", byDefault, {{50, 7}, {50, 8}}, 0},
        {"an unknown flag loses inside the band", byDefault, {{50, 0}, {50.005, 9}}, 0},
        {"but wins when clearly farther", byDefault, {{50, 0}, {51, 9}}, 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(winner(c.table, c.returns), c.expected) << c.what;
}

TEST(BlockMerge, ModelTablesAreChosenByTheBareNameOnly) {
    EXPECT_EQ(rangeTableFor("RVX1000").count, 5U);
    EXPECT_EQ(rangeTableFor("RVX1500").interval(3).hi, 30.0);
    CLRFileHeader header;
    header.SetModelName("RVX1000");
    EXPECT_EQ(rangeTableFor(header.GetModelName()).count, 1U);  // deliberate: the padding counts
}

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
