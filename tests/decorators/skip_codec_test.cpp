#include <brisko_codec/alignment.h>
#include <brisko_codec/color_codec.h>
#include <brisko_codec/skip_codec.h>

#include "decorators/made_codec.h"
#include "decorators/wrapped_codec.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <tuple>

namespace brisko {
namespace {

using namespace test;
using Position = std::array<double, 3>;
using Creator = SkipCodecCreator;

/// Delivers a list of points, point i in cell (10 + i, 20 + i); "list" is its path.
MadeCodec* listOf(const std::vector<Position>& points, int* destroyed = nullptr) {
    const auto pointAt = [points](std::size_t i) {
        const auto number = static_cast<std::uint32_t>(i);
        return TestPoint{points[i][0], points[i][1], points[i][2], static_cast<float>(i), 3, 3, 3,
                         10 + number,  20 + number};
    };
    return new MadeCodec(points.size(), pointAt, destroyed);
}

/// The points that a wrapper lets through, named by their place in the list (their intensity).
std::vector<int> accepted(BriskoCodec& codec) {
    std::vector<int> numbers;
    TestPoint p;
    std::uint8_t alpha = 0;
    auto read = &BriskoCodec::ReadFirstPoint;
    while ((codec.*read)(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, alpha)) {
        numbers.push_back(static_cast<int>(p.intensity));
        read = &BriskoCodec::ReadNextPoint;
    }
    return numbers;
}

TEST(SkipCodec, LetsThroughWhatItsValidatorAccepts) {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    const std::vector<Position> near = {{6, 8, 0}, {6, 8, 0.001}, {-6, 0, -8},
                                        {0, 0, 0}, {kNaN, 0, 0},  {0, INFINITY, 0}};
    const std::vector<Position> boxed = {{1, 2, 3}, {0, 2, 3},    {2, 2, 3},  {1, 1, 3},
                                         {1, 3, 3}, {1, 2, 2},    {1, 2, 4},  {9, 2, 3},
                                         {1, 9, 3}, {1, 2, kNaN}, {1, 2, -9}, {1.9, 1.1, 3.9}};
    const std::vector<Position> zeros = {{0, 0, 0},    {0, 0, -0.0}, {0, 0, 1e-300},
                                         {kNaN, 0, 0}, {0, -1, 0},   {0, 0, 0}};
    int destroyed = 0;
    const auto list = [&](const auto& points) { return listOf(points, &destroyed); };
    const struct {
        BriskoCodec* wrapper;
        bool grid;
        std::vector<int> numbers;
    } cases[] = {
        {Creator::CreateGridCodec(list(near), 10), true, {0, 2, 3}},
        {Creator::CreateGridCodec(list(near), -10), true, {0, 2, 3}},
        {Creator::CreateCodec(list(near), 10), false, {0, 2, 3}},
        {Creator::CreateBbValidatorGridCodec(list(boxed), 0, 1, 2, 2, 3, 4), true, {0, 11}},
        {Creator::CreateValidGridCodec(list(zeros)), true, {2, 3, 4}},
    };
    for (const auto& c : cases) {
        const OwnedCodec owner(c.wrapper);
        EXPECT_EQ(dynamic_cast<BriskoGridCodec*>(c.wrapper) != nullptr, c.grid);
        ASSERT_TRUE(c.wrapper->Open("list"));
        EXPECT_EQ(accepted(*c.wrapper), c.numbers) << &c - cases;
        if (!c.grid) continue;
        std::vector<int> numbers;
        for (const TestPoint& point : readAll(*c.wrapper)) {
            numbers.push_back(static_cast<int>(point.intensity));
            EXPECT_EQ(point.column, 10 + static_cast<unsigned>(numbers.back()));
            EXPECT_EQ(point.row, 20 + static_cast<unsigned>(numbers.back()));
            EXPECT_EQ(point.blue, 3);
        }
        EXPECT_EQ(numbers, c.numbers) << &c - cases;
    }
    EXPECT_EQ(destroyed, 5);
}

TEST(SkipCodec, SpeaksOfAllPointsOtherwise) {
    auto* const wrapper = Creator::CreateGridCodec(listOf({{9, 0, 0}, {8, 0, 0}}), 1);
    const OwnedCodec owner(wrapper);
    std::size_t columns = 5, rows = 6;
    unsigned tileSize = 7;
    wrapper->GetGridSize(columns, rows, tileSize);
    EXPECT_EQ(columns + rows + tileSize, 18u) << "nothing is known before Open";
    EXPECT_FALSE(wrapper->Open("missing"));
    ASSERT_TRUE(wrapper->Open("list"));
    TestPoint point{.column = 7, .row = 7};
    EXPECT_FALSE(readFirst(*wrapper, point) || readNext(*wrapper, point));
    EXPECT_TRUE(point.column == 7 && point.row == 7) << "cells of rejected points do not show";

    double minimum = 0, maximum = 0;
    std::int64_t count = 0;
    wrapper->GetBounds(minimum, minimum, minimum, maximum, maximum, maximum, count);
    EXPECT_EQ(std::tuple(wrapper->GetPointCount(), count, minimum, maximum),
              std::tuple(2, 2, -4.0, 4.0));
    wrapper->GetGridSize(columns, rows, tileSize);
    EXPECT_EQ(std::tuple(columns, rows, tileSize), std::tuple(1U, 100U, 256U));
}

TEST(SkipCodec, AWrappedNullOrUnopenedCodecIsHarmless) {
    MadeCodec* const open = listOf({{1, 2, 3}});
    open->isOpen = true;
    const OwnedCodec unopened(Creator::CreateValidGridCodec(open));
    TestPoint point;
    EXPECT_FALSE(readFirst(*unopened, point) || readNext(*unopened, point));
    for (BriskoCodec* const wrapper :
         {static_cast<BriskoCodec*>(Creator::CreateGridCodec(nullptr, 1)),
          Creator::CreateCodec(nullptr, 1), ColorCodecCreator::CreateCodec(nullptr, false),
          ColorCodecCreator::CreateCodec(nullptr, true)}) {
        const OwnedCodec owner(wrapper);
        EXPECT_FALSE(wrapper->Open("/list"));
        wrapper->Close();
        EXPECT_EQ(accepted(*wrapper), std::vector<int>{});
        EXPECT_FALSE(readFirst(*wrapper, point) || readNext(*wrapper, point));
        double minimum = 0, maximum = 0;
        std::int64_t count = 1;
        wrapper->GetBounds(minimum, minimum, minimum, maximum, maximum, maximum, count);
        EXPECT_EQ(minimum, std::numeric_limits<double>::max());
        EXPECT_EQ(maximum, std::numeric_limits<double>::min());
        EXPECT_EQ(count, 0);
        EXPECT_EQ(wrapper->GetPointCount(), 0);
        EXPECT_EQ(getAlignment(*wrapper).source, AlignmentSource::None);
        setFrame(*wrapper, Frame::Scanner);
    }
}

}  // namespace
}  // namespace brisko
