#include "layouts/block_merge.h"

#include <brisko_codec/file_header.h>

#include <gtest/gtest.h>

namespace brisko {
namespace {

/// A return at a range along x, told apart by its fourth value.
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
        {"one surface behind the centre", byDefault, {{150.000, 0}, {150.005, 0}}, 0},
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

}  // namespace
}  // namespace brisko
