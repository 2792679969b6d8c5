// Lone CL3 scans: cells from the directions of their points.

#include "pcplib/processes/angle_grid.h"
#include "support/conversion_fixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <set>

namespace brisko {
namespace {

using namespace test;

struct Angles {
    float startAzimuth, stopAzimuth, startVertical, stopVertical;
    std::uint32_t columns, rows;
    bool elevations;
};

CL3FileHeader headerOf(const Angles& a) {
    CL3FileHeader header;
    header.SetStartAzimuthAngle(a.startAzimuth);
    header.SetStopAzimuthAngle(a.stopAzimuth);
    header.SetStartZenithAngle(a.startVertical);
    header.SetStopZenithAngle(a.stopVertical);
    header.SetDeltaAzimuthAngle((a.stopAzimuth - a.startAzimuth) / static_cast<float>(a.columns));
    header.SetDeltaZenithAngle((a.stopVertical - a.startVertical) / static_cast<float>(a.rows));
    return header;
}

/// A point in the direction of a cell, a little off it.
TestPoint pointIn(const Angles& a, std::uint32_t column, std::uint32_t row, double range,
                  double off) {
    constexpr double kRadians = std::numbers::pi / 180;
    const double azimuth =
        (a.startAzimuth + (column + off) * (a.stopAzimuth - a.startAzimuth) / a.columns) * kRadians;
    const double vertical =
        (a.startVertical + (row + off) * (a.stopVertical - a.startVertical) / a.rows) * kRadians;
    const double elevation = a.elevations ? vertical : std::numbers::pi / 2 - vertical;
    return {.x = range * std::cos(elevation) * std::cos(azimuth),
            .y = range * std::cos(elevation) * std::sin(azimuth),
            .z = range * std::sin(elevation),
            .intensity = static_cast<float>(1 + column),
            .red = static_cast<std::uint8_t>(row),
            .green = 0,
            .blue = 0,
            .column = column,
            .row = row};
}

void writePlain(const std::string& path, const Angles& angles,
                const std::vector<TestPoint>& points) {
    CL3WriterCodec writer;
    CL3FileHeader header = headerOf(angles);
    ASSERT_TRUE(writer.Open(path.c_str(), &header));
    for (const TestPoint& p : points)
        writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, 255);
    writer.Close();
}

TEST(IndexByAngles, FindsTheCellOfEveryPoint) {
    const SilentOutput silent;
    const Angles cases[] = {
        {0, 360, 20, 150, 600, 40, false},   {360, 0, 150, 20, 300, 40, false},
        {-90, 45, 10, 170, 135, 80, false},  {200, 560, -57, 86, 360, 143, true},
        {10, -350, 60, -40, 720, 100, true},
    };
    for (const Angles& angles : cases) {
        SCOPED_TRACE(angles.startAzimuth);
        std::mt19937 random(5);
        std::vector<TestPoint> points;
        for (std::uint32_t column = 0; column < angles.columns; ++column) {
            for (std::uint32_t row = 0; row < angles.rows; ++row) {
                if (random() % 3 == 0) continue;
                points.push_back(pointIn(angles, column, row, 2.0 + column % 7, 0.3));
            }
        }
        std::shuffle(points.begin(), points.end(), random);
        const TempFolder folder;
        writePlain(folder / "lone.cl3", angles, points);
        ASSERT_TRUE(indexCL3ByAngles(folder / "lone.cl3", folder / "lone_index.cl3", nullptr));
        EXPECT_EQ(folder.names(), (std::vector<std::string>{"lone.cl3", "lone_index.alg",
                                                            "lone_index.cl3", "lone_index.ij"}));
        auto indexed = pointsByCell<CL3GridCodec>(folder / "lone_index.cl3");
        ASSERT_EQ(indexed.size(), points.size());
        for (const TestPoint& p : points) {
            const TestPoint& found = indexed[{p.column, p.row}];
            ASSERT_EQ(found, p);
        }
    }
}

TEST(IndexByAngles, KeepsPointsThatShareACell) {
    const SilentOutput silent;
    const Angles angles{0, 360, 0, 180, 520, 6, false};
    // A point at the very end of the angles, then far more in one direction than the 256 columns around it have cells.
    std::vector<TestPoint> points = {{.z = -5, .intensity = 9}};
    for (int i = 0; i < 2'000; ++i)
        points.push_back(pointIn(angles, 100, 3, 1.0 + i, 0));
    points.push_back(pointIn(angles, 300, 2, 5, 0));
    const TempFolder folder;
    writePlain(folder / "lone.cl3", angles, points);
    ASSERT_TRUE(indexCL3ByAngles(folder / "lone.cl3", folder / "out.cl3", nullptr));
    std::multiset<double> before, after;
    for (const TestPoint& p : points)
        before.insert(p.x + 1000 * p.z);
    const auto indexed = pointsByCell<CL3GridCodec>(folder / "out.cl3");
    for (const auto& [cell, p] : indexed)
        after.insert(p.x + 1000 * p.z);
    EXPECT_EQ(after, before);
    EXPECT_EQ(indexed.at({300, 2}).intensity, 301);  // carried points do not take its place
    EXPECT_EQ(indexed.at({100, 3}).x, points[1].x);
    EXPECT_EQ(indexed.at({0, 5}).intensity, 9);
}

TEST(IndexByAngles, RefusesWhatItCannotPlace) {
    const SilentOutput silent;
    const Angles good{0, 360, 0, 180, 4, 2, false};
    const TempFolder folder;
    const std::vector<TestPoint> many(9, pointIn(good, 1, 1, 2, 0));
    writePlain(folder / "full.cl3", good, many);
    writePlain(folder / "flat.cl3", {0, 0, 0, 180, 4, 2, false}, {many[0]});
    CL3FileHeader zero;
    writePlain(folder / "none.cl3", {0, 360, 5, 5, 4, 2, false}, {many[0]});
    const auto before = contentsOf(folder);
    for (const char* name : {"full.cl3", "flat.cl3", "none.cl3", "missing.cl3"})
        EXPECT_FALSE(indexCL3ByAngles(folder / name, folder / "out.cl3", nullptr)) << name;
    EXPECT_FALSE(indexCL3ByAngles(folder / "full.cl3", folder / "out.txt", nullptr));
    EXPECT_FALSE(indexCL3ByAngles(folder / "full.cl3", folder / "full.cl3", nullptr));
    EXPECT_EQ(contentsOf(folder), before);
    writePlain(folder / "filled.cl3", {0, 360, 0, 180, 8, 1, false},
               {many.begin() + 1, many.end()});
    EXPECT_TRUE(indexCL3ByAngles(folder / "filled.cl3", folder / "out.cl3", nullptr));
}

TEST(FreeCells, TakeTheNearestCellUntilTheBandIsFull) {
    constexpr std::uint32_t kColumns = 9, kRows = 12;
    QelPcpLib::FreeCells free(kColumns, kRows);
    std::set<std::pair<std::uint32_t, std::uint32_t>> taken;
    std::mt19937 random(11);
    const auto ring = [](Cell a, std::uint32_t column, std::uint32_t row) {
        return std::max(std::abs(static_cast<int>(a.column) - static_cast<int>(column)),
                        std::abs(static_cast<int>(a.row) - static_cast<int>(row)));
    };
    for (std::uint32_t i = 0; i < kColumns * kRows; ++i) {
        const Cell wanted{static_cast<std::uint32_t>(random() % kColumns),
                          static_cast<std::uint32_t>(random() % kRows)};
        int nearest = 1000;
        for (std::uint32_t column = 0; column < kColumns; ++column) {
            for (std::uint32_t row = 0; row < kRows; ++row) {
                if (!taken.count({column, row}))
                    nearest = std::min(nearest, ring(wanted, column, row));
            }
        }
        const auto cell = free.take(wanted);
        ASSERT_TRUE(cell);
        EXPECT_EQ(ring(wanted, cell->column, cell->row), nearest);
        EXPECT_TRUE(taken.insert({cell->column, cell->row}).second);
    }
    EXPECT_FALSE(free.take({0, 0}));
}

}  // namespace
}  // namespace brisko
