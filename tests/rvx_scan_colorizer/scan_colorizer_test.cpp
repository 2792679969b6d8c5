#include "rvx_scan_colorizer/rvx_scan_colorizer.h"

#include <brisko_codec/vexo_diagnostics.h>

#include "rvx_scan_colorizer/station.h"
#include "support/photo_station.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace brisko {
namespace {

using namespace test;

/// A colouriser that uses whole photos.
class Colours {
public:
    explicit Colours(const PhotoStation& station, std::size_t capacity = 60,
                     PhotoOutlines outlines = PhotoOutlines::Whole)
        : m_colorizer(station.scanFolder(), capacity, outlines) {}

    Rgb of(double x, double y, double z) {
        std::int32_t red = -1, green = -1, blue = -1;
        m_colorizer.getColor(x, y, z, red, green, blue);
        return {static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green),
                static_cast<std::uint8_t>(blue)};
    }
    /// The colour of the point that a camera along +x shows at a pixel of the 1200 x 1600.
    Rgb atPixel(int column, int row) { return of(10, (600 - column) / 100.0, (800 - row) / 100.0); }

    std::vector<std::uint8_t> ofAll(const std::vector<double>& positions) {
        std::vector<std::uint8_t> colours(positions.size());
        m_colorizer.colourPoints(positions.data(), positions.size() / 3, colours.data());
        return colours;
    }

private:
    RvxScanColorizer m_colorizer;
};
constexpr Rgb kNone = {0, 0, 0};

/// With flat photos of such greys that all show the same.
Colours ofFlats(std::initializer_list<std::pair<const char*, int>> photos) {
    const ClassicStation station;
    for (const auto& [name, value] : photos)
        station.addFlat(name, value);
    return Colours(station);
}

TEST(ScanColorizer, LaterPhotosGrowOverEarlierOnes) {
    const struct {
        int column, row, value;
    } cases[] = {{600, 800, 200}, {250, 800, 200},  {100, 800, 150},  {50, 800, 125},
                 {10, 800, 105},  {9, 800, 0},      {1180, 800, 110}, {1190, 800, 0},
                 {600, 60, 130},  {600, 1500, 150}, {600, 9, 0},      {600, 1590, 0},
                 {100, 40, 120},  {150, 1580, 110}};
    Colours two = ofFlats({{"b", 200}, {"a", 100}});
    for (const auto& [column, row, value] : cases)
        EXPECT_EQ(two.atPixel(column, row), grey(value)) << column << ", " << row;
    EXPECT_EQ(ofFlats({{"a", 0}, {"b", 200}}).atPixel(20, 800), grey(200)) << "black is no colour";
    // A quarter of b over a: 90. A quarter of c over that: 92.5, rounded up.
    EXPECT_EQ(ofFlats({{"a", 40}, {"b", 240}, {"C", 100}}).atPixel(50, 800), grey(93));
}

TEST(ScanColorizer, PointsThatNoPhotoShowsStayBlack) {
    Colours colours = ofFlats({{"a", 50}});
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const double points[][3] = {
        {-10, 0, 0},   {0, 0, 0},          {1e-7, 0, 0},  {0, 10, 0},
        {0, 0, 10},    {kNaN, 0, 0},       {10, kNaN, 0}, {kInfinity, 0, 0},
        {10, 0, -1e9}, {10, kInfinity, 0}, {5e-7, 0, 0},  {kInfinity, kInfinity, kNaN}};
    for (const auto& p : points)
        EXPECT_EQ(colours.of(p[0], p[1], p[2]), kNone) << p[0] << ' ' << p[1];
    for (const double far : {2e-6, 1e-3, 1.0, 1e6, 1e200})
        EXPECT_EQ(colours.of(far, 0, 0), grey(50)) << far;
}

/// A "W" camera along +x: 2560 x 1920 pixels of 0.002 mm, principal distance 5 mm.
class WideStation : public PhotoStation {
public:
    WideStation() {
        writeFile(inProject("camcalW"),
                  pairedCalibration({.f = 5, .x0 = 2.56, .y0 = 1.92, .px = 0.002, .py = 0.002}));
        addPhoto("W1", jpegBytes(2560, 1920, grey(100)));
        addPhoto("W2", jpegBytes(2560, 1920, grey(200)));
    }
};
Rgb colourAtWidePixel(Colours& colours, int column, int row) {
    return colours.of(10, (1280 - column) * 0.004, (960 - row) * 0.004);
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
        Colours colours(station);
        for (const Case& c : cases)
            EXPECT_EQ(colourAtWidePixel(colours, c.column, c.row), grey(100 + 10 * c.*share))
                << c.column;
    };
    expectShares(&Case::sixty);
    writeFile(station.inScan("camera_cfg"), "WCAMSTEP=30STEP\n");
    expectShares(&Case::thirty);
    std::filesystem::remove(station.inScan("camera_cfg"));
    writeFile(station.inProject("a.ofs"), "1\n");
    expectShares(&Case::offset);
}

TEST(ScanColorizer, FourCornersLeaveAHoleWhereAViewFacesAnAxis) {
    const ClassicStation station;
    station.addFlat("a", 100);
    Colours corners(station, 60, PhotoOutlines::Corners);
    EXPECT_EQ(corners.atPixel(600, 800), kNone);
    EXPECT_EQ(corners.atPixel(30, 1550), grey(100));
}

TEST(ScanColorizer, NeighboursGetTheColoursThatEachGetsAloneHoweverFewPhotosAreKept) {
    const ClassicStation station;
    for (int i = 0; i < 12; ++i) {
        const auto paint = [i](int column, int row) {
            return Rgb{static_cast<std::uint8_t>(30 + 7 * i + column),
                       static_cast<std::uint8_t>(30 + row), 90};
        };
        station.addPhoto("p" + std::to_string(10 + i), jpegBytes(120, 160, paint), -180 + 30 * i);
    }
    std::vector<double> positions;
    // Lines up and down, with points that have no place.
    for (int column = 0; column < 40; ++column) {
        for (int row = 0; row < 300; ++row) {
            const double azimuth = 0.157 * column, height = 0.04 * (row - 150);
            const double far = row % 97 == 5 ? 0 : 4 + row % 3;
            positions.insert(positions.end(),
                             {far * std::cos(azimuth), far * std::sin(azimuth), far * height / 5});
        }
    }
    Colours many(station), alone(station);
    const std::vector<std::uint8_t> colours = many.ofAll(positions);
    for (std::size_t i = 0; i < positions.size(); i += 3) {
        const Rgb colour = alone.of(positions[i], positions[i + 1], positions[i + 2]);
        ASSERT_TRUE(std::equal(colour.begin(), colour.end(), &colours[i])) << i / 3;
    }
    EXPECT_LT(std::count(colours.begin(), colours.end(), 0), 18000) << "most have a colour";
    for (const std::size_t capacity : {1u, 3u})
        EXPECT_EQ(Colours(station, capacity).ofAll(positions), colours) << capacity;
}

TEST(ScanColorizer, PhotosWithoutACameraColourNothing) {
    const PhotoStation lonely;
    writeFile(lonely.inScan("lonely.jpg"), "without angles it is not looked at");
    Colours colours(lonely), sibling(colours);
    EXPECT_EQ(colours.of(1, 2, 3), kNone);
    EXPECT_EQ(sibling.of(1, 2, 3), kNone);
    // Photos of no known camera are loaded all the same.
    const WideStation station;
    station.addPhoto("X0", {1, 2, 3});
    EXPECT_THROW(Colours{station}, std::exception);
    station.addPhoto("X0", jpegBytes(64, 48, grey(7)));
    Colours wide(station);
    EXPECT_EQ(colourAtWidePixel(wide, 1000, 500), grey(200));
}

TEST(ScanColorizer, PhotosMayChangeAfterOpening) {
    const ClassicStation station;
    station.addFlat("a", 100, 0);
    station.addFlat("b", 150, 180);
    station.addFlat("c", 200, 90);
    Colours colours(station, 1);
    EXPECT_EQ(colours.of(10, 0, 0), grey(100));
    const Bytes b = readFile(station.inScan("b.jpg"));
    std::filesystem::remove(station.inScan("b.jpg"));
    EXPECT_EQ(colours.of(-10, 0, 0), kNone);
    writeFile(station.inScan("b.jpg"), b);
    EXPECT_EQ(colours.of(-10, 0, 0), grey(150)) << "it is there again";
    EXPECT_EQ(colours.of(10, 0, 0), grey(100));
    // A smaller photo, dark above and bright below, in the frame that was read at the start.
    station.addPhoto(
        "c", jpegBytes(30, 40, [](int column, int) { return grey(column < 15 ? 250 : 60); }), 90);
    EXPECT_EQ(colours.of(0, 10, 4), grey(60));
    EXPECT_EQ(colours.of(0, 10, -4), grey(250));
}

TEST(ScanColorizer, LogsOnlyWhenItIsSwitchedOn) {
    const ClassicStation station;
    station.addFlat("a", 100);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    const Colours silent(station);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    testing::internal::CaptureStderr();
    vexo::switchLoggingOn();
    const Colours logged(station), second(logged);
    vexo::switchLoggingOff();
    const Colours silentAgain(station);
    const std::string once =
        "brisko_codec: setImage without error\n"
        "brisko_codec: Finished RvxScanColorizerImpl::Initialize\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), once + once);
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
