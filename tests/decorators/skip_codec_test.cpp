#include <brisko_codec/brisko_codec.h>

#include "decorators/made_codec.h"
#include "decorators/wrapped_codec.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
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

/// A scan of 60 x 50 cells, 1 to 9 m from the scanner in stretches and in no order. The scanner of the CL3 file
/// is 100 m from the origin.
void writeNearAndFar(const TempFolder& folder) {
    CLRFileHeader header;
    header.SetAzimuthResolution(60);
    header.SetZenithResolution(50);
    CL3IJWriterGridCodec indexed;
    CLRWriterGridCodec raw;
    indexed.Open((folder / "scan.cl3").c_str(), &header);
    raw.Open((folder / "raw.clr").c_str(), &header);
    double matrix[16] = {1, 0, 0, 100, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    indexed.SetMatrixTransform(matrix);
    std::mt19937 random(9);
    for (unsigned column = 0; column < 60; ++column) {
        for (unsigned row = 0; row < 50; ++row) {
            const auto anywhere = static_cast<double>(1 + random() % 9);
            const double x = column < 20 ? 1 : column < 40 ? 9 : anywhere;
            const auto blue = static_cast<std::uint8_t>(row);
            indexed.WritePoint(x, column * 0.001, row * 0.001, 5, 1, 2, blue, 255, column, row);
            raw.WritePoint(x, column * 0.001, row * 0.001, 5, 1, 2, blue, 255, column, row);
        }
    }
    indexed.Close();
    raw.Close();
}

/// What calls for single points and for some give in turn: positions and rows.
std::vector<std::array<double, 4>> readInTurn(BriskoCodec& codec) {
    PointBatchReader batches(codec);
    double positions[3 * 300];
    std::uint32_t rows[300];
    std::vector<std::array<double, 4>> points;
    TestPoint single;
    bool found = readFirst(codec, single);
    for (std::size_t wanted = 1; found; wanted = (wanted + 37) % 300) {
        points.push_back({single.x, single.y, single.z, static_cast<double>(single.row)});
        const std::size_t count = batches.readNext({.positions = positions, .rows = rows}, wanted);
        for (std::size_t i = 0; i < count; ++i) {
            const double* const p = positions + 3 * i;
            points.push_back({p[0], p[1], p[2], static_cast<double>(rows[i])});
        }
        found = readNext(codec, single);
        EXPECT_TRUE(count == wanted || !found) << "fewer only at the end";
    }
    return points;
}

TEST(SkipCodec, BatchesGiveThePointsOfSingleCalls) {
    const TempFolder folder;
    writeNearAndFar(folder);
    const struct {
        const char* what;
        const char* name;
        BriskoCodec* wrapper;
        std::size_t fewest, most;
    } cases[] = {
        {"some", "scan.cl3", Creator::CreateGridCodec(CL3GridCodec::Create(), 105), 1001, 1900},
        {"none", "scan.cl3", Creator::CreateGridCodec(CL3GridCodec::Create(), 100), 0, 0},
        {"all", "scan.cl3", Creator::CreateValidGridCodec(CL3GridCodec::Create()), 2900, 3000},
        {"no grid", "scan.cl3", Creator::CreateCodec(CL3Codec::Create(), 105), 1001, 1900},
        {"a grid that is not shown", "scan.cl3", Creator::CreateCodec(CL3GridCodec::Create(), 105),
         1001, 1900},
        {"some of some", "scan.cl3",
         Creator::CreateBbValidatorGridCodec(Creator::CreateGridCodec(CL3GridCodec::Create(), 105),
                                             100, -1, -1, 103, 1, 1),
         1001, 1600},
        {"raw", "raw.clr", Creator::CreateGridCodec(CLRGridCodec::Create(), 5.5), 1001, 1900},
    };
    // Then with scans that end early.
    for (const std::uintmax_t cut : {0U, 1000U}) {
        for (const char* const name : {"scan.cl3", "raw.clr"})
            std::filesystem::resize_file(folder / name,
                                         std::filesystem::file_size(folder / name) - cut);
        for (const auto& c : cases) {
            SCOPED_TRACE(c.what);
            ASSERT_TRUE(c.wrapper->Open((folder / c.name).c_str()));
            for (const Frame frame : {Frame::Aligned, Frame::Scanner}) {
                setFrame(*c.wrapper, frame);
                const std::vector<TestPoint> single = readAll(*c.wrapper);
                if (frame == Frame::Aligned) {
                    EXPECT_GE(single.size(), c.fewest);
                    EXPECT_LE(single.size(), c.most);
                }
                for (const std::size_t capacity : {1U, 100U, 257U, 5000U})
                    EXPECT_EQ(readAllBatched(*c.wrapper, capacity), single) << capacity;
                std::vector<std::array<double, 4>> places;
                for (const TestPoint& p : single)
                    places.push_back({p.x, p.y, p.z, static_cast<double>(p.row)});
                EXPECT_EQ(readInTurn(*c.wrapper), places);
            }
        }
    }
    for (const auto& c : cases)
        BriskoCodec::Destroy(c.wrapper);
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
    const TempFolder folder;
    writeNearAndFar(folder);
    const OwnedCodec native(
        Creator::CreateValidGridCodec(openScan<CL3GridCodec>(folder / "scan.cl3").release()));
    EXPECT_TRUE(readAll(*native).empty() && readAllBatched(*native, 10).empty());
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
