#include "apps/made_scan.h"
#include "scan/formats/angle_estimate.h"
#include "scan/pictures/gathered_columns.h"
#include "scan/pictures/picture_samples.h"

#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;

using Pixel = std::array<std::uint8_t, 3>;
constexpr Pixel kEmpty = {1, 2, 3};  // --missing 010203

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
                const auto draw = [&](const std::string& name, std::vector<std::string> options) {
                    options.insert(options.begin(), {"panorama", scan, "-o", folder / name,
                                                     "--overwrite", "--missing", "010203"});
                    EXPECT_EQ(run(options).code, 0);
                    return readPng(folder / name);
                };
                const Image range = draw("r.png", {"--mode", "range", "--size", "6x4"});
                ASSERT_EQ(range.width, 6u);
                ASSERT_EQ(range.height, 4u);
                EXPECT_EQ(range.at(5, 0), kEmpty);
                EXPECT_EQ(range.at(4, 1), kEmpty);
                // From blue (near) over green to red (far).
                EXPECT_GT(range.at(0, 0)[2], 1.1 * range.at(0, 0)[0]);
                EXPECT_GT(range.at(0, 3)[0], 5 * range.at(0, 3)[2]);
                EXPECT_GT(range.at(3, 0)[1], range.at(3, 0)[0]);
                const Image colour =
                    draw("c.png", {"--mode", "colour", "--size", "3x2", "--gamma", "1"});
                EXPECT_EQ(colour.at(1, 0), (Pixel{100, 0, 0}));
                EXPECT_EQ(colour.at(2, 1), (Pixel{200, 0, 200}));
                const Image intensity =
                    draw("i.png", {"--mode", "intensity", "--width", "3", "--gamma", "1"});
                EXPECT_EQ(intensity.at(0, 0), (Pixel{23, 23, 23}));
                EXPECT_EQ(intensity.at(2, intensity.height - 1), (Pixel{255, 255, 255}));
            }
        }
    }
}

/// A wall 4 m ahead (+x) with a groove of 5 cm at half of its height, and a floor 1 m below.
std::string wallScan() {
    std::string cells;
    for (int column = 0; column < 90; ++column) {
        for (int row = 0; row < 60; ++row) {
            const double azimuth = (44.5 - column) / 57.29577951308232;
            const double rise = std::tan((29.5 - row) / 57.29577951308232);
            double x = rise * 4 < 0 && rise * 4 > -0.3 ? 4.05 : 4;
            if (rise * x / std::cos(azimuth) < -1) x = -std::cos(azimuth) / rise;
            char line[96];
            std::snprintf(line, sizeof line, "%.6f %.6f %.6f 0.5\n", x, x * std::tan(azimuth),
                          x / std::cos(azimuth) * rise);
            cells += line;
        }
    }
    return ptxText(90, 60, cells, kTurnedLines);
}

TEST(Panorama, ShowsTheFormOfSurfaces) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", wallScan());
    convert(folder / "a.ptx", folder / "a.cl3");
    const auto draw = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"panorama", folder / "a.cl3", "-o", folder / "a.png",
                                         "--size", "90x60", "--overwrite"});
        EXPECT_EQ(run(options).code, 0);
        return readPng(folder / "a.png");
    };
    const Image normals = draw({"--mode", "normals"});
    const struct {
        std::uint32_t x, y;
        Pixel normal;
        double incidence, height;
    } cases[] = {{45, 15, {0, 128, 128}, 15.5, 1.05},  // the wall, from -1 0 0
                 {10, 20, {0, 128, 128}, 36, 0.81},
                 {45, 52, {128, 128, 255}, 67.5, -1}};  // the floor
    // Grey between chosen ends is the value itself; its darkest is 0.09.
    const auto value = [](const Pixel& pixel) { return (pixel[0] / 255.0 - 0.09) / 0.91; };
    const Image incidence = draw({"--mode", "incidence", "--map", "grey", "--limits", "0:90"});
    const Image shaded = draw({});
    for (const auto& at : cases) {
        for (std::size_t c = 0; c < 3; ++c)
            EXPECT_NEAR(normals.at(at.x, at.y)[c], at.normal[c], 3) << at.x << " " << at.y;
        EXPECT_NEAR(90 * value(incidence.at(at.x, at.y)), at.incidence, 1.5);
    }
    // Under the upper edge of the groove it is darker than on the wall and in the groove's middle.
    EXPECT_LT(shaded.at(45, 30)[0] + 30, shaded.at(45, 28)[0]);
    EXPECT_LT(shaded.at(45, 30)[0] + 20, shaded.at(45, 32)[0]);
    const auto shown = nlohmann::json::parse(
        run({"panorama", folder / "a.cl3", "-o", folder / "h.png", "--mode", "height", "--json"})
            .out);
    EXPECT_NEAR(shown["low"].get<double>(), 30 - 1, 0.05);  // the alignment lifts by 30
}

TEST(Panorama, ProjectsDirections) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", wallScan());
    convert(folder / "a.ptx", folder / "a.cl3");
    const struct {
        const char* projection;
        std::uint32_t width, height;
        std::array<std::uint32_t, 2> wall, floor, nothing;
    } cases[] = {{"equirectangular", 720, 360, {360, 150}, {360, 226}, {180, 180}},
                 {"cylindrical", 720, 397, {360, 165}, {360, 250}, {180, 200}},
                 {"cube", 300, 200, {50, 35}, {50, 75}, {150, 50}}};
    for (const auto& at : cases) {
        SCOPED_TRACE(at.projection);
        run({"panorama", folder / "a.cl3", "-o", folder / "a.png", "--overwrite", "--mode",
             "normals", "--width", std::to_string(at.width), "--projection", at.projection,
             "--missing", "010203"});
        const Image image = readPng(folder / "a.png");
        ASSERT_EQ(image.width, at.width);
        ASSERT_EQ(image.height, at.height);
        EXPECT_NEAR(image.at(at.wall[0], at.wall[1])[0], 0, 3);
        EXPECT_NEAR(image.at(at.floor[0], at.floor[1])[2], 255, 3);
        EXPECT_EQ(image.at(at.nothing[0], at.nothing[1]), kEmpty);
    }
}

TEST(Panorama, HasALegendAndDepthAndAnglesWhereAsked) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", wallScan());
    const auto draw = [&](const std::string& name, std::vector<std::string> options) {
        options.insert(options.begin(), {"panorama", folder / "a.ptx", "-o", folder / name,
                                         "--width", "360", "--mode", "range"});
        EXPECT_EQ(run(options).code, 0);
    };
    draw("plain.png", {});
    draw("legend.png", {"--legend"});
    const Image plain = readPng(folder / "plain.png"), legend = readPng(folder / "legend.png");
    EXPECT_GT(legend.height, plain.height + 20);
    EXPECT_TRUE(std::equal(plain.bytes.begin(), plain.bytes.end(), legend.bytes.begin()));
    const auto below = legend.bytes.begin() + static_cast<std::ptrdiff_t>(plain.bytes.size());
    EXPECT_GT(std::count(below, legend.bytes.end(), 45), 300);  // ink

    draw("deep.png", {"--bits", "16", "--map", "grey"});
    const auto deep = readFile(folder / "deep.png");
    EXPECT_EQ(deep.at(24), 16);
    EXPECT_EQ(deep.at(25), PNG_COLOR_TYPE_GRAY);
    draw("a.tif", {});
    const std::unique_ptr<TIFF, decltype(&TIFFClose)> tiff(
        TIFFOpen((folder / "a.tif").c_str(), "r"), TIFFClose);
    ASSERT_TRUE(tiff);
    std::uint32_t count = 0;
    const double* matrix = nullptr;
    ASSERT_EQ(TIFFGetField(tiff.get(), 34264, &count, &matrix), 1);
    ASSERT_EQ(count, 16u);
    EXPECT_NEAR(matrix[0], -0.25, 1e-4);  // 90 degrees over 360 pixels
    EXPECT_NEAR(matrix[3], 45, 0.01);
    EXPECT_NEAR(matrix[7], 30, 0.1);
    std::vector<std::uint8_t> row(3 * 360);
    for (std::uint32_t y = 0; y <= 60; ++y)
        ASSERT_EQ(TIFFReadScanline(tiff.get(), row.data(), y, 0), 1);
    EXPECT_TRUE(std::equal(row.begin(), row.end(), plain.bytes.begin() + 60 * 3 * 360));
}

TEST(ContactSheet, ShowsAFolderOfScansAndNamesWhatItCannot) {
    const TempFolder folder;
    std::filesystem::create_directory(folder / "in");
    writeFile(folder / "in/a.ptx", wallScan());
    writeFile(folder / "in/b.ptx", wallScan());
    writeFile(folder / "in/c.xyz", std::string("1 2 3\n"));
    const ToolRun made =
        run({"panorama", folder / "in", "-o", folder / "sheet.png", "--width", "800"});
    EXPECT_EQ(made.code, 0) << made.err;
    EXPECT_NE(made.err.find("c.xyz: has no grid"), std::string::npos) << made.err;
    EXPECT_NE(made.out.find("2 scans on 800 x"), std::string::npos) << made.out;
    const Image sheet = readPng(folder / "sheet.png");
    ASSERT_EQ(sheet.width, 800u);
    EXPECT_EQ(sheet.at(200, 100), sheet.at(600, 100)) << "two pictures of the same scan";
    EXPECT_NE(
        run({"panorama", folder / "in/c.xyz", folder / "in/c.xyz", "-o", folder / "n.png"}).code,
        0);
    EXPECT_FALSE(std::filesystem::exists(folder / "n.png"));
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

TEST(GatheredColumns, TakeTheMeanAndGiveColumnsBackWhenTheBandHasPassed) {
    GatheredColumns gathered({.columns = 8, .rows = 1, .width = 4, .height = 1, .bandColumns = 4},
                             GatheredValue::Intensity);
    std::vector<CellPoint> points;
    for (const std::uint32_t column : {1U, 3U, 0U, 2U, 5U, 1U, 8U}) {  // 1 comes late, 8 is padding
        points.push_back(
            {.x = 1, .intensity = static_cast<float>(column * column), .column = column});
        gathered.add({&points.back(), 1});
        EXPECT_EQ(gathered.complete(), points.size() < 5 ? 0U : 2U);
    }
    gathered.end();
    const float means[] = {0.5F, 6.5F, 25};
    for (std::uint32_t column = 0; column < 3; ++column)
        EXPECT_EQ(gathered.take(column).at(0).values[0], means[column]);
    EXPECT_TRUE(gathered.take(3).empty());
}

TEST(PictureSamples, KeepValuesToAFifthOfAPercentAndInOrder) {
    std::uint16_t last = 0;
    for (const float value : {-1e9F, -21.7F, -0.001F, 0.F, 1e-5F, 0.37F, 1.F, 2199.F, 1e12F}) {
        EXPECT_NEAR(valueOf(codeOf(value)), value, std::abs(value) / 500 + 1e-6F);
        EXPECT_GT(codeOf(value), last);
        last = codeOf(value);
    }
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
