#include "rvx_scan_colorizer/rvx_scan_colorizer.h"

#include <brisko_codec/vexo_diagnostics.h>

#include "rvx_scan_colorizer/station.h"
#include "support/photo_station.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace brisko {
namespace {

using namespace test;

Rgb colourOf(RvxScanColorizer& colorizer, double x, double y, double z) {
    std::int32_t red = -1, green = -1, blue = -1;
    colorizer.getColor(x, y, z, red, green, blue);
    return {static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green),
            static_cast<std::uint8_t>(blue)};
}
constexpr Rgb kNone = {0, 0, 0};

/// The colour of the point that a camera along +x shows at a pixel of the 1200 x 1600.
Rgb colourAtPixel(RvxScanColorizer& colorizer, int column, int row) {
    return colourOf(colorizer, 10, (600 - column) / 100.0, (800 - row) / 100.0);
}

TEST(ScanColorizer, LaterPhotosGrowOverEarlierOnes) {
    const ClassicStation station;
    station.addFlat("b", 200);
    station.addFlat("a", 100);
    RvxScanColorizer colorizer(station.scanFolder(), 60, PhotoOutlines::Whole);
    const struct {
        int column, row, value;
    } cases[] = {{600, 800, 200}, {250, 800, 200},  {100, 800, 150},  {50, 800, 125},
                 {10, 800, 105},  {9, 800, 0},      {1180, 800, 110}, {1190, 800, 0},
                 {600, 60, 130},  {600, 1500, 150}, {600, 9, 0},      {600, 1590, 0},
                 {100, 40, 120},  {150, 1580, 110}};
    for (const auto& [column, row, value] : cases)
        EXPECT_EQ(colourAtPixel(colorizer, column, row), grey(value)) << column << ", " << row;
}

TEST(ScanColorizer, BlackCountsAsNoColour) {
    const ClassicStation station;
    station.addFlat("a", 0);
    station.addFlat("b", 200);
    RvxScanColorizer colorizer(station.scanFolder(), 60, PhotoOutlines::Whole);
    EXPECT_EQ(colourAtPixel(colorizer, 20, 800), grey(200)) << "and not a tenth of it";
}

TEST(ScanColorizer, ThreePhotosAreBlendedInTheirOrder) {
    const ClassicStation station;
    station.addFlat("a", 40);
    station.addFlat("b", 240);
    station.addFlat("C", 100);
    RvxScanColorizer colorizer(station.scanFolder(), 60, PhotoOutlines::Whole);
    // A quarter of b over a: 90. A quarter of c over that: 92.5, rounded up.
    EXPECT_EQ(colourAtPixel(colorizer, 50, 800), grey(93));
}

TEST(ScanColorizer, ColoursComeFromTheRightPlaceInTheRightOrder) {
    // Stored lying on its right side: turned a quarter to the left, the top of the upright photo is
    // what was on the right. Upright: red above blue on the left, green above yellow on the right.
    const Rgb red = {210, 30, 20}, green = {20, 190, 30}, blue = {25, 35, 220},
              yellow = {220, 210, 30};
    const ClassicStation station;
    station.addPhoto("a", jpegBytes(1600, 1200, [&](int column, int row) {
                         const bool top = column >= 800, left = row < 600;
                         return top ? (left ? red : green) : (left ? blue : yellow);
                     }));
    RvxScanColorizer colorizer(station.scanFolder(), 60, PhotoOutlines::Whole);
    const auto expectNear = [&](double y, double z, const Rgb& expected) {
        const Rgb seen = colourOf(colorizer, 10, y, z);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(seen[i], expected[i], 3) << y << ", " << z;
    };
    // The camera looks along +x: left is +y, and z is up. The corner lies within a pixel of the axis.
    for (const double far : {0.05, 2.5}) {
        expectNear(far, far, red);
        expectNear(-far, far, green);
        expectNear(far, -far, blue);
        expectNear(-far, -far, yellow);
    }
}

TEST(ScanColorizer, PointsThatNoPhotoShowsStayBlack) {
    const ClassicStation station;
    station.addFlat("a", 50);
    RvxScanColorizer colorizer(station.scanFolder(), 60, PhotoOutlines::Whole);
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const double points[][3] = {
        {-10, 0, 0},   {0, 0, 0},          {1e-7, 0, 0},  {0, 10, 0},
        {0, 0, 10},    {kNaN, 0, 0},       {10, kNaN, 0}, {kInfinity, 0, 0},
        {10, 0, -1e9}, {10, kInfinity, 0}, {5e-7, 0, 0},  {kInfinity, kInfinity, kNaN}};
    for (const auto& p : points)
        EXPECT_EQ(colourOf(colorizer, p[0], p[1], p[2]), kNone) << p[0] << ' ' << p[1];
    for (const double far : {2e-6, 1e-3, 1.0, 1e6, 1e200})
        EXPECT_EQ(colourOf(colorizer, far, 0, 0), grey(50)) << far;
}

TEST(ScanColorizer, ManyPointsAreColouredAsOneByOneHoweverSmallTheCache) {
    const ClassicStation station;
    station.addRing(40);
    std::vector<double> positions;
    constexpr std::size_t kPoints = 2000;
    for (int i = 0; i < static_cast<int>(kPoints); ++i) {
        const double azimuth = i * 0.007, height = std::sin(i * 0.1);
        positions.insert(positions.end(), {3 * std::cos(azimuth), 3 * std::sin(azimuth), height});
    }
    std::vector<std::vector<std::uint8_t>> results;
    for (const std::size_t capacity : {60U, 12U, 3U, 1U}) {
        RvxScanColorizer colorizer(station.scanFolder(), capacity, PhotoOutlines::Whole);
        auto& colours = results.emplace_back(positions.size());
        colorizer.colourPoints(positions.data(), kPoints, colours.data());
        for (std::size_t i = 0; i < kPoints; i += capacity < 12 ? 97 : 1) {
            const Rgb one =
                colourOf(colorizer, positions[3 * i], positions[3 * i + 1], positions[3 * i + 2]);
            ASSERT_EQ(one, (Rgb{colours[3 * i], colours[3 * i + 1], colours[3 * i + 2]})) << i;
        }
    }
    for (const auto& colours : results)
        EXPECT_EQ(colours, results[0]);
    EXPECT_GT(std::count_if(results[0].begin(), results[0].end(), [](int v) { return v != 0; }),
              5900);
    RvxScanColorizer none(station.scanFolder(), 0, PhotoOutlines::Whole);
    EXPECT_EQ(colourOf(none, 10, 0, 0), kNone);
}

/// A "W" camera along +x: 2560 x 1920 pixels of 0.002 mm, 5 mm behind the lens.
class WideStation : public PhotoStation {
public:
    WideStation() {
        CalibrationText text;
        text.f = 5;
        text.x0 = 2.56;
        text.y0 = 1.92;
        text.px = text.py = 0.002;
        writeFile(inProject("camcalW"), pairedCalibration(text));
        addPhoto("W1", jpegBytes(2560, 1920, grey(100)));
        addPhoto("W2", jpegBytes(2560, 1920, grey(200)));
    }
};
Rgb colourAtWidePixel(RvxScanColorizer& colorizer, int column, int row) {
    return colourOf(colorizer, 10, (1280 - column) * 0.004, (960 - row) * 0.004);
}

TEST(ScanColorizer, EachKindOfStationHasItsSeams) {
    // The second photo's share in tenths at some pixels; no photo of a "W" camera has a margin.
    struct Case {
        int column, row, sixty, thirty, offset;
    };
    const Case cases[] = {
        {100, 500, 5, 5, 5},    {2540, 500, 10, 10, 10}, {1000, 1100, 10, 3, 3},
        {2460, 1100, 10, 5, 3}, {2540, 1000, 10, 1, 8},  {1000, 0, 0, 0, 0},
    };
    const WideStation station;
    const auto expectShares = [&](int Case::*share) {
        RvxScanColorizer colorizer(station.scanFolder(), 60, PhotoOutlines::Whole);
        for (const Case& c : cases)
            EXPECT_EQ(colourAtWidePixel(colorizer, c.column, c.row), grey(100 + 10 * c.*share))
                << c.column;
    };
    expectShares(&Case::sixty);
    writeFile(station.inScan("camera_cfg"), "WCAMSTEP=30STEP\n");
    expectShares(&Case::thirty);
    std::filesystem::remove(station.inScan("camera_cfg"));
    writeFile(station.inProject("a.ofs"), "1\n");
    expectShares(&Case::offset);
}

TEST(ScanColorizer, SmallWorkingFramesAreSampledByProportion) {
    // A "T" photo of 1280 x 960 works in 400 x 300: a working pixel is 3.2 stored ones. The columns
    // change their grey every 32 stored, so every 10 working pixels.
    const PhotoStation station;
    CalibrationText text;
    text.f = 5;
    text.x0 = 32;
    text.y0 = 24;
    text.px = text.py = 0.025;  // of 2560 x 1920: 0.16 mm in the working frame
    writeFile(station.inProject("camcalT"), pairedCalibration(text));
    station.addPhoto(
        "T1", jpegBytes(1280, 960, [](int column, int) { return grey(20 + column / 32 * 5); }));
    writeFile(station.inProject("a.ofs"), "");  // nothing is turned
    RvxScanColorizer colorizer(station.scanFolder(), 60, PhotoOutlines::Whole);
    for (int column = 5; column < 400; column += 10) {
        const double toRight = (column - 200) * 0.16 / 5;
        EXPECT_EQ(colourOf(colorizer, 1, -toRight, 0), grey(20 + column / 10 * 5)) << column;
    }
}

TEST(ScanColorizer, AFolderWithoutPhotosColoursNothing) {
    const PhotoStation station;
    writeFile(station.inScan("lonely.jpg"), "without angles it is not looked at");
    RvxScanColorizer colorizer(station.scanFolder(), 60, PhotoOutlines::Whole);
    EXPECT_EQ(colourOf(colorizer, 1, 2, 3), kNone);
    RvxScanColorizer sibling(colorizer);
    EXPECT_EQ(colourOf(sibling, 1, 2, 3), kNone);
}

TEST(ScanColorizer, FourCornersLeaveAHoleWhereAViewFacesAnAxis) {
    const ClassicStation station;
    station.addFlat("a", 100);
    RvxScanColorizer corners(station.scanFolder(), 60);
    EXPECT_EQ(colourAtPixel(corners, 600, 800), kNone);
    EXPECT_EQ(colourAtPixel(corners, 30, 1550), grey(100));
    RvxScanColorizer whole(station.scanFolder(), 60, PhotoOutlines::Whole);
    EXPECT_EQ(colourAtPixel(whole, 600, 800), grey(100));
}

TEST(ScanColorizer, PhotosOfNoKnownCameraAreLoadedAndSeeNothing) {
    const WideStation station;
    station.addPhoto("X0", {1, 2, 3});
    EXPECT_THROW(RvxScanColorizer(station.scanFolder(), 60), std::exception);
    station.addPhoto("X0", jpegBytes(64, 48, grey(7)));
    RvxScanColorizer colorizer(station.scanFolder(), 60, PhotoOutlines::Whole);
    EXPECT_EQ(colourAtWidePixel(colorizer, 1000, 500), grey(200));
}

TEST(ScanColorizer, DamagedStationsAreRefused) {
    const auto refused = [](const PhotoStation& station) {
        EXPECT_THROW(RvxScanColorizer(station.scanFolder(), 60), std::exception);
    };
    const ClassicStation broken;
    broken.addFlat("a", 100);
    broken.addPhoto("b", Bytes(500, 3));
    refused(broken);

    const ClassicStation pixelless;  // a header, and then nothing to decode
    Bytes jpeg = jpegBytes(1200, 1600, grey(7));
    const std::uint8_t startOfScan[] = {0xFF, 0xDA};
    jpeg.erase(
        std::search(jpeg.begin(), jpeg.end(), std::begin(startOfScan), std::end(startOfScan)) - 40,
        jpeg.end());
    pixelless.addPhoto("a", jpeg);
    refused(pixelless);

    const Bytes whole = classicCalibration({});
    for (const std::size_t length : {0U, 8U, 30U, 47U}) {
        const ClassicStation cut;
        cut.addFlat("a", 100);
        writeFile(cut.inProject("camcal"), cutTo(whole, length));
        refused(cut);
    }
}

TEST(ScanColorizer, PhotosMayChangeAfterOpening) {
    const ClassicStation station;
    station.addFlat("a", 100, 0);
    station.addFlat("b", 150, 180);
    station.addFlat("c", 200, 90);
    RvxScanColorizer colorizer(station.scanFolder(), 1, PhotoOutlines::Whole);
    EXPECT_EQ(colourOf(colorizer, 10, 0, 0), grey(100));
    const Bytes b = readFile(station.inScan("b.jpg"));
    std::filesystem::remove(station.inScan("b.jpg"));
    EXPECT_EQ(colourOf(colorizer, -10, 0, 0), kNone);
    writeFile(station.inScan("b.jpg"), b);
    EXPECT_EQ(colourOf(colorizer, -10, 0, 0), grey(150)) << "it is there again";
    EXPECT_EQ(colourOf(colorizer, 10, 0, 0), grey(100));
    // A smaller photo, dark above and bright below, in the frame that was read at the start.
    station.addPhoto(
        "c", jpegBytes(30, 40, [](int column, int) { return grey(column < 15 ? 250 : 60); }), 90);
    EXPECT_EQ(colourOf(colorizer, 0, 10, 4), grey(60));
    EXPECT_EQ(colourOf(colorizer, 0, 10, -4), grey(250));
}

TEST(ScanColorizer, LogsOnlyWhenItIsSwitchedOn) {
    const ClassicStation station;
    station.addFlat("a", 100);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    const RvxScanColorizer silent(station.scanFolder(), 60, PhotoOutlines::Whole);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    testing::internal::CaptureStderr();
    vexo::switchLoggingOn();
    const RvxScanColorizer logged(station.scanFolder(), 60, PhotoOutlines::Whole);
    const RvxScanColorizer second(logged);
    vexo::switchLoggingOff();
    const RvxScanColorizer silentAgain(station.scanFolder(), 60, PhotoOutlines::Whole);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "brisko_codec: setImage without error\n"
              "brisko_codec: Finished RvxScanColorizerImpl::Initialize\n"
              "brisko_codec: setImage without error\n"
              "brisko_codec: Finished RvxScanColorizerImpl::Initialize\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(CameraBox, ReachesFromTheCornersToZero) {
    // Four corners around +x, one unit ahead and half a unit aside.
    const double a = 0.5 / std::sqrt(1.5), ahead = 1 / std::sqrt(1.5);
    const CameraBox box =
        boxAround({{ahead, a, -a}, {ahead, -a, -a}, {ahead, -a, a}, {ahead, a, a}});
    // The first two are atan(0.5 / sqrt(1.25)) aside of their middle.
    const double reach = 100 / std::cos(std::atan(0.5 / std::sqrt(1.25))) + 1;
    EXPECT_NEAR(box.axes[0].minimum, 99 * ahead, 1e-9);
    EXPECT_NEAR(box.axes[0].maximum, reach * ahead, 1e-9);
    EXPECT_NEAR(box.axes[1].minimum, -reach * a, 1e-9);
    EXPECT_NEAR(box.axes[1].maximum, reach * a, 1e-9);
    const CameraBox behind = boxAround({{-ahead, a, a}, {-ahead, -a, a}, {-ahead, -a, -a}});
    EXPECT_EQ(behind.axes[0].maximum, 0) << "deliberate";

    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    for (const auto& corners : {std::vector<Vector3>{}, {{0, 0, 0}, {1e-7, 0, 0}, {kNaN, 1, 0}}}) {
        const CameraBox none = boxAround(corners);
        EXPECT_EQ(none.axes[0].minimum, std::numeric_limits<double>::max());
        EXPECT_EQ(none.axes[2].maximum, 0);
    }
    EXPECT_NEAR(boxAround({{0, 0, 2}}).axes[2].maximum, 110, 1e-9);
}

}  // namespace
}  // namespace brisko
