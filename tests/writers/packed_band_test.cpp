#include "writers/packed_band.h"

#include "support/read_points.h"
#include "writers/tile_grid_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace brisko {
namespace {

using namespace test;

constexpr double kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

struct Grid : GridFileHeader {
    std::size_t GetAzimuthResolution() const override { return columns; }
    std::size_t GetZenithResolution() const override { return rows; }
    bool Read(const char*) override { return false; }
    std::uint32_t columns = 0, rows = 0;
};

/// Points that follow each other in a column, as arrays.
struct PointRun {
    std::vector<double> positions;
    std::vector<float> intensities;
    std::vector<std::uint8_t> colours;
    std::vector<std::uint32_t> rows;

    void add(const CL3Record& p, std::uint32_t row) {
        positions.insert(positions.end(), {p.x, p.y, p.z});
        intensities.push_back(p.intensity);
        colours.insert(colours.end(), {p.red, p.green, p.blue});
        rows.push_back(row);
    }
    ColumnRun view() const {
        return {positions.data(), intensities.data(), colours.data(), rows.data(), rows.size()};
    }
};

CL3Record pointAt(std::uint32_t column, std::uint32_t row) {
    return {column * 0.5,
            -1.0 * row,
            column * 1000.0 + row,
            static_cast<float>(row + 1),
            static_cast<std::uint8_t>(column),
            static_cast<std::uint8_t>(row),
            9};
}

/// Gives the points of a column's part to a band and to a writer: upwards or downwards, in one piece or in two.
bool give(PackedBand& band, TileGridWriter& writer, std::uint32_t column, std::uint32_t rowTile,
          std::vector<std::uint32_t> rows, bool isDownwards, std::size_t cut) {
    if (isDownwards) std::reverse(rows.begin(), rows.end());
    PointRun parts[2];
    for (std::size_t i = 0; i < rows.size(); ++i) {
        parts[i < cut ? 0 : 1].add(pointAt(column, rows[i]), rows[i]);
        writer.write(pointAt(column, rows[i]), column, rows[i]);
    }
    for (const PointRun& part : parts) {
        if (!part.rows.empty() && !band.add(column % kTileSize, rowTile, part.view())) return false;
    }
    return true;
}

TEST(PackedBand, WritesWhatPointsOneByOneWrite) {
    constexpr std::uint32_t kColumns = 600, kRows = 700;
    const TempFolder packed, single;
    Grid grid;
    grid.columns = kColumns;
    grid.rows = kRows;
    TileGridWriter bands, points;
    ASSERT_TRUE(bands.open((packed / "scan.cl3").c_str(), &grid));
    ASSERT_TRUE(points.open((single / "scan.cl3").c_str(), &grid));
    std::mt19937 random(7);
    PackedBand band;
    for (std::uint32_t first = 0; first < kColumns; first += kTileSize) {
        band.clear(3);
        for (std::uint32_t column = first; column < std::min(first + kTileSize, kColumns);
             ++column) {
            for (std::uint32_t rowTile = 0; rowTile < 3; ++rowTile) {
                // The tiles of the second band are full, without a point, and with some.
                const std::uint32_t density = first != kTileSize ? 60 : rowTile == 0 ? 100 : 50;
                std::vector<std::uint32_t> rows;
                const std::uint32_t end = std::min((rowTile + 1) * kTileSize, kRows);
                for (std::uint32_t row = rowTile * kTileSize; row < end; ++row) {
                    const bool isEmpty = first == kTileSize && rowTile == 1;
                    if (!isEmpty && random() % 100 < density) rows.push_back(row);
                }
                ASSERT_TRUE(
                    give(band, points, column, rowTile, rows, column % 2 == 1, random() % 300));
            }
        }
        bands.append(band);
    }
    bands.close(kIdentity);
    points.close(kIdentity);
    for (const char* file : {"scan.cl3", "scan.ij", "scan.alg"})
        EXPECT_TRUE(readFile(packed / file) == readFile(single / file)) << file;
}

TEST(PackedBand, RefusesWhatIsNotInTheOrderOfItsColumns) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const CL3Record usual = pointAt(1, 1);
    const struct {
        const char* what;
        std::uint32_t column;
        std::vector<std::uint32_t> rows;
        CL3Record point;
        bool isTaken;
    } cases[] = {
        {"rows above", 5, {12, 13}, usual, true},
        {"rows below", 5, {3, 2}, usual, true},
        {"a later column", 6, {0}, usual, true},
        {"an earlier column", 4, {20}, usual, false},
        {"a cell that has a point", 5, {10}, usual, false},
        {"rows around those that came", 5, {4, 30}, usual, false},
        {"rows up and down", 6, {1, 3, 2, 4}, usual, false},
        {"a cell twice", 6, {7, 7}, usual, false},
        {"no number", 6, {7}, {1, nan, 1, 1}, false},
        {"no point", 6, {7}, {}, false},
    };
    for (const auto& c : cases) {
        PackedBand band;
        band.clear(1);
        PointRun before, run;
        before.add(usual, 10);
        before.add(usual, 11);
        ASSERT_TRUE(band.add(5, 0, before.view()));
        for (const std::uint32_t row : c.rows)
            run.add(c.point, row);
        EXPECT_EQ(band.add(c.column, 0, run.view()), c.isTaken) << c.what;
    }
}

}  // namespace
}  // namespace brisko
