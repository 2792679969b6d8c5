#include "pcplib/processes/scan_line.h"

#include "support/scan_bytes.h"

#include <gtest/gtest.h>

namespace QelPcpLib {
namespace {

using namespace brisko::test;

constexpr std::int32_t kMost = 2147483647, kLeast = -2147483647 - 1;

TEST(ClassifyLine, ComparesTheElevationsOfTheFirstAndTheLastMeasuredPoint) {
    const ClrRecord low{100, 0, 10, 0, 1}, high{100, 0, 11, 0, 1}, highGap{100, 0, 90, 0, 0};
    const ClrRecord negativeGap{100, 0, 90, 0, -1};
    const struct {
        std::vector<ClrRecord> line;
        int direction;
    } cases[] = {
        {{}, 0},
        {{low}, 0},
        {{highGap, highGap}, 0},
        {{highGap, low, negativeGap}, 0},
        {{low, high}, 1},
        {{high, low}, -1},
        {{low, low}, -1},  // equal
        {{highGap, low, highGap, high, negativeGap}, 1},
        {{high, low, high, low}, -1},
        // What counts is the angle: farther away, the higher point is seen lower.
        {{{100, 0, 10, 0, 1}, {0, -1000, 90, 0, 1}}, -1},
        {{{0, 0, 0, 0, 1}, {0, 0, 5, 0, 1}}, 1},
        {{{kMost, kLeast, kLeast, 0, 1}, {kLeast, kLeast, kMost, 0, kMost}}, 1},
    };
    for (const auto& c : cases) {
        Bytes bytes = clrRecords(c.line);
        EXPECT_EQ(ClassifyLine(bytes.data(), c.line.size()), c.direction) << &c - cases;
        // The same when the line is looked through record by record, at odd addresses.
        bytes.insert(bytes.begin(), 0);
        LineEnds ends;
        for (std::size_t i = 0; i < c.line.size(); ++i)
            ends.look(bytes.data() + 1 + 20 * i, 1);
        EXPECT_EQ(ends.direction(), c.direction) << &c - cases;
    }
}

}  // namespace
}  // namespace QelPcpLib
