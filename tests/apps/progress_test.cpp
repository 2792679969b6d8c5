#include "common/progress.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace brisko::tool {

namespace {

ProgressState state(std::uint64_t done, std::uint64_t total, double seconds) {
    return {"convert", "points", done, total, seconds, false, ""};
}

TEST(ProgressLine, TellsShareRateAndTimeLeft) {
    EXPECT_EQ(plainLine(state(25'000'000, 100'000'000, 5)),
              "convert: 25 %, 5.0 M points/s, 0:15 left");
    EXPECT_EQ(plainLine(state(1500, 0, 3)), "convert: 1.5 k points, 500 points/s");
    EXPECT_EQ(plainLine(state(0, 100, 2)), "convert: 0 %, 0 points/s");
    // More steps than announced: never more than everything.
    EXPECT_EQ(plainLine(state(300, 100, 1)), "convert: 100 %, 300 points/s, 0:00 left");
    EXPECT_EQ(barLine(state(50, 100, 1), 60),
              "convert  [#########..........]  50 %  50 points/s  0:01 left");
}

TEST(ProgressLine, FitsAnyTerminal) {
    for (std::size_t width = 0; width < 200; ++width) {
        EXPECT_LE(barLine(state(123456789, 987654321, 1234), width).size(), width);
    }
}

TEST(ProgressLine, CountsAndTimesAreShort) {
    EXPECT_EQ(shortCount(0), "0");
    EXPECT_EQ(shortCount(999), "999");
    EXPECT_EQ(shortCount(1000), "1.0 k");
    EXPECT_EQ(shortCount(99'960), "100 k");
    EXPECT_EQ(shortCount(999'600), "1.0 M");
    EXPECT_EQ(shortCount(4e18), "4000000 T");
    EXPECT_EQ(clockTime(59.6), "1:00");
    EXPECT_EQ(clockTime(3725), "1:02:05");
    EXPECT_EQ(clockTime(1e300), "99:59:59");
}

TEST(ProgressLine, IsAnObjectForPrograms) {
    const auto known = nlohmann::json::parse(jsonLine(state(5, 10, 1.25)));
    EXPECT_EQ(known["progress"], "convert");
    EXPECT_EQ(known["done"], 5);
    EXPECT_EQ(known["total"], 10);
    EXPECT_EQ(known["seconds"], 1.25);
    EXPECT_EQ(known["finished"], false);
    EXPECT_TRUE(nlohmann::json::parse(jsonLine(state(5, 0, 1)))["total"].is_null());
    EXPECT_NO_THROW(jsonLine({"\xff", "points", 0, 0, 0, true, ""}));
    ProgressState staged = state(5, 10, 1);
    staged.stage = "Pcp Indexing1";
    EXPECT_EQ(nlohmann::json::parse(jsonLine(staged))["stage"], "Pcp Indexing1");
    EXPECT_EQ(plainLine(staged), "convert: 50 %, 5 points/s, 0:01 left, Pcp Indexing1");
    EXPECT_EQ(barLine(staged, 70),
              "convert  [#######........]  50 %  5 points/s  0:01 left  Pcp Indexing1");
    EXPECT_EQ(barLine(staged, 60), barLine(state(5, 10, 1), 60));  // no room for it
}

}  // namespace
}  // namespace brisko::tool
