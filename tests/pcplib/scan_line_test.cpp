#include "pcplib/processes/scan_line.h"

#include "base/file.h"
#include "support/scan_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>

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

TEST(ReverseLine, TurnsRecordsInMemoryAndInFiles) {
    const TempFolder folder;
    for (const std::size_t count : {0UL, 1UL, 2UL, 3UL, 199'999UL, 200'000UL, 500'001UL}) {
        std::vector<ClrRecord> line(count);
        for (std::size_t i = 0; i < count; ++i)
            line[i] = {static_cast<std::int32_t>(i), 0, 0, 7, -1};
        const Bytes before = clrRecords(line);
        std::reverse(line.begin(), line.end());
        const Bytes after = clrRecords(line);
        Bytes turned = before;
        ReverseLine(turned.data(), count);
        EXPECT_TRUE(turned == after) << count;

        const auto framed = [](const Bytes& records) {
            return ByteWriter().text("abc", 3).bytes(records).u8(4).done();
        };
        writeFile(folder / "line", framed(before));
        const auto file = brisko::openFile((folder / "line").c_str(), "rb+");
        EXPECT_TRUE(reverseRecordsInFile(file.get(), 3, count, [] {}));
        EXPECT_TRUE(readFile(folder / "line") == framed(after)) << count;
    }
}

}  // namespace
}  // namespace QelPcpLib
