#include "apps/made_scan.h"
#include "scan/formats/angle_estimate.h"
#include "scan/pictures/picture_grid.h"

#include <gtest/gtest.h>
#include <png.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <cstring>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;

using Pixel = std::array<std::uint8_t, 3>;
constexpr Pixel kEmpty = {12, 20, 64};

struct Image {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> bytes;

    Pixel at(std::uint32_t x, std::uint32_t y) const {
        const std::size_t i = 3 * (std::size_t{y} * width + x);
        return {bytes.at(i), bytes.at(i + 1), bytes.at(i + 2)};
    }
};

Image readPng(const std::string& path) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_file(&png, path.c_str())) << png.message;
    png.format = PNG_FORMAT_RGB;
    Image image{png.width, png.height, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(png))};
    EXPECT_TRUE(png_image_finish_read(&png, nullptr, image.bytes.data(), 0, nullptr));
    return image;
}

/// A scan of 3 columns and 2 rows looking along +x. Seen from the scanner: upper left is near, upper
/// right is empty, lower left is far, everything else in between.
std::string smallScan(bool clockwise, bool falling) {
    std::string cells;
    for (int c = 0; c < 3; ++c) {
        for (int r = 0; r < 2; ++r) {
            const int fromLeft = clockwise ? c : 2 - c;
            const int fromTop = falling ? r : 1 - r;
            if (fromLeft == 2 && fromTop == 0) {
                cells += "0 0 0 0.5 0 0 0\n";
                continue;
            }
            const double range = fromLeft != 0 ? 5 : fromTop == 0 ? 1 : 25;
            const double left = 0.2 * (1 - fromLeft);  // +y is to the left of +x
            const double up = fromTop == 0 ? 0.1 : -0.1;
            const double length = std::sqrt(1 + left * left + up * up);
            char line[128];
            std::snprintf(line, sizeof line, "%.6f %.6f %.6f 0.%d %d 0 %d\n", range / length,
                          range * left / length, range * up / length, fromLeft + 1, 100 * fromLeft,
                          200 * fromTop);
            cells += line;
        }
    }
    return ptxText(3, 2, cells, kTurnedLines);
}

TEST(Panorama, IsUprightAndAsSeenFromTheScanner) {
    for (const bool clockwise : {false, true}) {
        for (const bool falling : {false, true}) {
            SCOPED_TRACE(std::to_string(clockwise) + std::to_string(falling));
            const TempFolder folder;
            writeFile(folder / "a.ptx", smallScan(clockwise, falling));
            for (const std::string& scan :
                 {folder / "a.ptx", convert(folder / "a.ptx", folder / "a.cl3")}) {
                ASSERT_EQ(
                    run({"panorama", scan, "-o", folder / "r.png", "--size", "6x4", "--overwrite"})
                        .code,
                    0);
                const Image range = readPng(folder / "r.png");
                ASSERT_EQ(range.width, 6u);
                ASSERT_EQ(range.height, 4u);
                EXPECT_EQ(range.at(0, 0), (Pixel{255, 255, 255}));
                EXPECT_EQ(range.at(1, 1), (Pixel{255, 255, 255}));
                EXPECT_EQ(range.at(0, 3), (Pixel{24, 24, 24}));
                EXPECT_EQ(range.at(5, 0), kEmpty);
                EXPECT_EQ(range.at(4, 1), kEmpty);
                // 5 m is half way from 1 m to 25 m on a logarithmic scale.
                EXPECT_NEAR(range.at(3, 0)[0], 139.5, 1);
                EXPECT_NEAR(range.at(5, 3)[0], 139.5, 1);
                run({"panorama", scan, "-o", folder / "c.png", "--overwrite", "--mode", "colour",
                     "--size", "3x2"});
                const Image colour = readPng(folder / "c.png");
                EXPECT_EQ(colour.at(1, 0), (Pixel{100, 0, 0}));
                EXPECT_EQ(colour.at(2, 1), (Pixel{200, 0, 200}));
                run({"panorama", scan, "-o", folder / "i.png", "--overwrite", "--mode", "intensity",
                     "--width", "3"});
                const Image intensity = readPng(folder / "i.png");
                EXPECT_EQ(intensity.at(0, 0), (Pixel{24, 24, 24}));
                EXPECT_EQ(intensity.at(2, intensity.height - 1), (Pixel{255, 255, 255}));
            }
        }
    }
}

TEST(Panorama, IsAsHighAsItsAnglesSay) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(60, 90, {30, -1, 40, -0.5}, false));
    convert(folder / "a.ptx", folder / "a.clr");
    for (const char* scan : {"a.ptx", "a.clr"}) {
        run({"panorama", folder / scan, "-o", folder / "a.png", "--overwrite", "--width", "200"});
        const Image image = readPng(folder / "a.png");
        EXPECT_EQ(image.width, 200u);
        EXPECT_NEAR(image.height, 150, 2);
    }
    // Ten times as high as wide, but of few cells: both sides give way.
    writeFile(folder / "high.ptx", madeScan(1200, 2, {0, 0.01, 0, 60}, false));
    const ToolRun high =
        run({"panorama", "--json", "--overwrite", folder / "high.ptx", "-o", folder / "a.png"});
    const auto told = nlohmann::json::parse(high.out);
    EXPECT_EQ(told["schema"], "brisko.panorama/1");
    EXPECT_NEAR(told["width"].get<double>() * told["height"].get<double>(), 1 << 22, 20000);
    EXPECT_EQ(told["height"], readPng(folder / "a.png").height);
}

TEST(PictureGrid, TakesTheMeanOfWhatFallsIntoACell) {
    PictureGrid grid(PictureMode::Intensity, 4, 1, 2, 1);
    std::vector<CellPoint> points;
    for (std::uint32_t column = 0; column < 4; ++column) {
        points.push_back(
            {.x = 1, .intensity = static_cast<float>(column * column), .column = column});
    }
    points.push_back({.x = 1, .intensity = 1000, .column = 4});  // padding
    grid.add(points);
    const struct {
        double first, end;
        float mean;
    } cases[] = {{0, 0.5, 0.5f}, {0.5, 1, 6.5f}, {0, 1, 3.5f}, {0.9, 0.91, 6.5f}};
    for (const auto& [first, end, mean] : cases)
        EXPECT_EQ(grid.mean(grid.columnsOf(first, end), grid.rowsOf(0, 1)).channels[0], mean);
    EXPECT_TRUE(PictureGrid(PictureMode::Range, 4, 4, 2, 2).mean({0, 2}, {0, 2}).isEmpty);
}

/// Points of a grid at 10 m, some columns left out.
std::vector<CellPoint> pointsAt(std::uint32_t columns, std::uint32_t rows, const ScanAngles& angles,
                                std::uint32_t gapFirst, std::uint32_t gapEnd) {
    constexpr double kRadians = 3.14159265358979323846 / 180;
    std::vector<CellPoint> points;
    for (std::uint32_t column = 0; column < columns; ++column) {
        if (column >= gapFirst && column < gapEnd) continue;
        for (std::uint32_t row = 0; row < rows; ++row) {
            const double azimuth = (angles.azimuth + column * angles.azimuthStep) * kRadians;
            const double elevation = (angles.elevation + row * angles.elevationStep) * kRadians;
            points.push_back({.x = 10 * std::cos(elevation) * std::cos(azimuth),
                              .y = 10 * std::cos(elevation) * std::sin(azimuth),
                              .z = 10 * std::sin(elevation),
                              .column = column,
                              .row = row});
        }
    }
    return points;
}

TEST(AngleEstimate, FollowsTurnsAcrossGapsInBothDirections) {
    const struct {
        std::uint32_t columns;
        ScanAngles angles;
        std::uint32_t gapFirst, gapEnd;
        double start;
    } cases[] = {
        {1000, {10, 0.36, -60, 2}, 0, 0, 10},        {1000, {10, -0.36, 60, -2}, 0, 0, 10},
        {1000, {190, -0.36, 60, -2}, 200, 900, 190},  // more than half a turn without points
        {1000, {-170, 0.36, 60, -2}, 0, 300, 190},    // the first columns are empty
        {20000, {0, 0.018, 60, -2}, 5000, 15000, 0},  // more columns than are kept apart
        {9, {350, 40, -60, 2}, 0, 0, 350},
    };
    for (const auto& grid : cases) {
        AngleEstimate estimate(grid.columns, 60);
        estimate.add(pointsAt(grid.columns, 60, grid.angles, grid.gapFirst, grid.gapEnd));
        const AngleStep azimuth = estimate.azimuth();
        EXPECT_TRUE(azimuth.known);
        EXPECT_NEAR(std::remainder(azimuth.start - grid.start, 360), 0, 1e-6);
        EXPECT_NEAR(azimuth.step, grid.angles.azimuthStep, 1e-9);
        EXPECT_NEAR(estimate.zenith().start, 90 - grid.angles.elevation, 1e-9);
        EXPECT_NEAR(estimate.zenith().step, -grid.angles.elevationStep, 1e-9);
    }
}

}  // namespace
}  // namespace brisko::tool
