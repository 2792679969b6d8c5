#include <brisko_codec/alignment.h>
#include <brisko_codec/cl3_codec.h>
#include <brisko_codec/skip_codec.h>
#include <brisko_codec/writers.h>

#include "decorators/owned_codec.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace brisko {
namespace {

using Position = std::array<double, 3>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// A host's own codec: delivers a list of points, point i in cell (10 + i, 20 + i).
class ListCodec : public BriskoGridCodec {
public:
    ListCodec(std::vector<Position> points, int* destroyed)
        : m_points(std::move(points)), m_destroyed(destroyed) {}
    ~ListCodec() override { ++*m_destroyed; }

    bool Open(const char* path) override { return std::string(path) == "list"; }
    void Close() override { m_next = m_points.size(); }
    std::int64_t GetPointCount() override { return static_cast<std::int64_t>(m_points.size()); }
    void GetBounds(double& minX, double& minY, double& minZ, double& maxX, double& maxY,
                   double& maxZ, std::int64_t& count) override {
        minX = minY = minZ = -1;
        maxX = maxY = maxZ = 1;
        count = GetPointCount();
    }
    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        unsigned column = 0, row = 0;
        return ReadFirstGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        unsigned column = 0, row = 0;
        return ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
    void GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) override {
        columns = 100;
        rows = 200;
        tileSize = 256;
    }
    bool ReadFirstGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                            std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                            unsigned& column, unsigned& row) override {
        m_next = 0;
        return ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override {
        if (m_next >= m_points.size()) return false;
        x = m_points[m_next][0];
        y = m_points[m_next][1];
        z = m_points[m_next][2];
        intensity = static_cast<float>(m_next);
        red = 1;
        green = 2;
        blue = 3;
        alpha = 255;
        column = static_cast<unsigned>(10 + m_next);
        row = static_cast<unsigned>(20 + m_next);
        ++m_next;
        return true;
    }

private:
    std::vector<Position> m_points;
    int* m_destroyed;
    std::size_t m_next = 0;
};

/// The out-arguments of the reading calls.
struct Point {
    double x = 0, y = 0, z = 0;
    float intensity = -1;
    std::uint8_t red = 0, green = 0, blue = 0, alpha = 0;
    unsigned column = 7, row = 7;

    bool first(BriskoCodec& codec) {
        return codec.ReadFirstPoint(x, y, z, intensity, red, green, blue, alpha);
    }
    bool next(BriskoCodec& codec) {
        return codec.ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
    }
    bool firstInGrid(BriskoGridCodec& codec) {
        return codec.ReadFirstGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
    bool nextInGrid(BriskoGridCodec& codec) {
        return codec.ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
};

/// The points that a wrapper lets through, named by their place in the list (their intensity).
std::vector<int> accepted(BriskoCodec& codec) {
    std::vector<int> numbers;
    Point point;
    for (bool found = point.first(codec); found; found = point.next(codec)) {
        numbers.push_back(static_cast<int>(point.intensity));
    }
    return numbers;
}
std::vector<int> acceptedInGrid(BriskoGridCodec& codec) {
    std::vector<int> numbers;
    Point point;
    for (bool found = point.firstInGrid(codec); found; found = point.nextInGrid(codec)) {
        numbers.push_back(static_cast<int>(point.intensity));
        EXPECT_EQ(point.column, 10 + static_cast<unsigned>(numbers.back()));
        EXPECT_EQ(point.row, 20 + static_cast<unsigned>(numbers.back()));
        EXPECT_EQ(point.blue, 3);
    }
    return numbers;
}

void expectGridPoints(BriskoGridCodec* wrapper, const std::vector<int>& expected) {
    const OwnedCodec owner(wrapper);
    ASSERT_TRUE(wrapper->Open("list"));
    EXPECT_EQ(acceptedInGrid(*wrapper), expected);
    EXPECT_EQ(accepted(*wrapper), expected);
}

TEST(SkipCodec, KeepsPointsUpToTheDistance) {
    const std::vector<Position> points = {{6, 8, 0}, {6, 8, 0.001}, {-6, 0, -8},
                                          {0, 0, 0}, {kNaN, 0, 0},  {0, INFINITY, 0}};
    int destroyed = 0;
    for (const double distance : {10.0, -10.0}) {
        expectGridPoints(
            SkipCodecCreator::CreateGridCodec(new ListCodec(points, &destroyed), distance),
            {0, 2, 3});
        const OwnedCodec plain(
            SkipCodecCreator::CreateCodec(new ListCodec(points, &destroyed), distance));
        EXPECT_EQ(dynamic_cast<BriskoGridCodec*>(plain.get()), nullptr);
        ASSERT_TRUE(plain->Open("list"));
        EXPECT_EQ(accepted(*plain), (std::vector<int>{0, 2, 3}));
    }
    EXPECT_EQ(destroyed, 4);
}

TEST(SkipCodec, KeepsPointsStrictlyInsideTheBox) {
    const std::vector<Position> points = {{1, 2, 3}, {0, 2, 3},    {2, 2, 3},  {1, 1, 3},
                                          {1, 3, 3}, {1, 2, 2},    {1, 2, 4},  {9, 2, 3},
                                          {1, 9, 3}, {1, 2, kNaN}, {1, 2, -9}, {1.9, 1.1, 3.9}};
    int destroyed = 0;
    expectGridPoints(SkipCodecCreator::CreateBbValidatorGridCodec(new ListCodec(points, &destroyed),
                                                                  0, 1, 2, 2, 3, 4),
                     {0, 11});
}

TEST(SkipCodec, DropsPointsAtTheOrigin) {
    const std::vector<Position> points = {{0, 0, 0},    {0, 0, -0.0}, {0, 0, 1e-300},
                                          {kNaN, 0, 0}, {0, -1, 0},   {0, 0, 0}};
    int destroyed = 0;
    expectGridPoints(SkipCodecCreator::CreateValidGridCodec(new ListCodec(points, &destroyed)),
                     {2, 3, 4});
}

TEST(SkipCodec, SpeaksOfAllPointsOtherwise) {
    int destroyed = 0;
    auto* const wrapper =
        SkipCodecCreator::CreateGridCodec(new ListCodec({{9, 0, 0}, {8, 0, 0}}, &destroyed), 1);
    EXPECT_FALSE(wrapper->Open("other"));
    ASSERT_TRUE(wrapper->Open("list"));
    Point point;
    EXPECT_FALSE(point.firstInGrid(*wrapper));
    EXPECT_FALSE(point.nextInGrid(*wrapper));
    EXPECT_EQ(point.column, 7u) << "cells of rejected points do not show";
    EXPECT_EQ(point.row, 7u);

    double bound = 0, maximum = 0;
    std::int64_t count = 0;
    wrapper->GetBounds(bound, bound, bound, maximum, maximum, maximum, count);
    EXPECT_EQ(wrapper->GetPointCount(), 2);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(bound, -1);
    EXPECT_EQ(maximum, 1);
    unsigned columns = 0, rows = 0, tileSize = 0;
    wrapper->GetGridResolution(columns, rows, tileSize);
    EXPECT_EQ(columns, 100u);
    EXPECT_EQ(rows, 200u);
    EXPECT_EQ(tileSize, 256u);
    EXPECT_EQ(destroyed, 0);
    BriskoCodec::Destroy(wrapper);
    EXPECT_EQ(destroyed, 1);
}

TEST(SkipCodec, GridCallsBeforeOpenAnswerNothing) {
    int destroyed = 0;
    auto* const wrapper =
        SkipCodecCreator::CreateValidGridCodec(new ListCodec({{1, 2, 3}}, &destroyed));
    const OwnedCodec owner(wrapper);
    Point point;
    EXPECT_FALSE(point.firstInGrid(*wrapper));
    EXPECT_FALSE(point.nextInGrid(*wrapper));
    std::size_t columns = 5, rows = 6;
    unsigned tileSize = 7;
    wrapper->GetGridSize(columns, rows, tileSize);
    EXPECT_EQ(columns + rows + tileSize, 18u);
}

TEST(SkipCodec, AWrappedNullIsHarmless) {
    for (BriskoGridCodec* const wrapper :
         {SkipCodecCreator::CreateGridCodec(nullptr, 1),
          SkipCodecCreator::CreateValidGridCodec(nullptr),
          SkipCodecCreator::CreateBbValidatorGridCodec(nullptr, 0, 0, 0, 1, 1, 1)}) {
        const OwnedCodec owner(wrapper);
        EXPECT_FALSE(wrapper->Open("list"));
        wrapper->Close();
        Point point;
        EXPECT_FALSE(point.first(*wrapper));
        EXPECT_FALSE(point.next(*wrapper));
        EXPECT_FALSE(point.firstInGrid(*wrapper));
        EXPECT_FALSE(point.nextInGrid(*wrapper));
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

TEST(SkipCodec, TheAlignmentShowsThroughWrappers) {
    const test::TempFolder folder;
    CL3WriterCodec writer;
    ASSERT_TRUE(writer.Open((folder / "scan.cl3").c_str(), nullptr));
    writer.WritePoint(1, 2, 3, 100, 0, 0, 0, 255);
    writer.Close();
    test::writeFile(folder / "scan.alg",
                    "CL3_ALG_0.1\n1 0 0 5//matrix 1\n0 1 0 6\n0 0 1 7\n0 0 0 1\n");
    // The points are tested where they are delivered: aligned, this one is over 14 m away.
    BriskoCodec* const inner = SkipCodecCreator::CreateCodec(CL3Codec::Create(), 14);
    const OwnedCodec wrapper(SkipCodecCreator::CreateCodec(inner, 100));
    ASSERT_TRUE(wrapper->Open((folder / "scan.cl3").c_str()));
    const Alignment alignment = getAlignment(*wrapper);
    EXPECT_EQ(alignment.source, AlignmentSource::File);
    EXPECT_EQ(alignment.matrix[3], 5);
    EXPECT_EQ(alignment.matrix[11], 7);
    Point point;
    EXPECT_FALSE(point.first(*wrapper));
    EXPECT_TRUE(setFrame(*wrapper, Frame::Scanner));
    EXPECT_TRUE(point.first(*wrapper));
    EXPECT_EQ(point.x, 1);
    EXPECT_EQ(point.z, 3);
}

}  // namespace
}  // namespace brisko
