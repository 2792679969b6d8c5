#include "rvx_scan_colorizer/calibration_files.h"
#include "rvx_scan_colorizer/camera.h"

#include "support/photo_station.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace brisko {
namespace {

using namespace test;

/// A camera in space: where it is and where its picture's sides lie. Pixel positions are worked out
/// from lengths along these directions alone. Metres.
struct Eye {
    Vector3 place, forward, right, up;

    Vector3 at(double ahead, double toRight, double above) const {
        Vector3 point{};
        for (std::size_t i = 0; i < 3; ++i)
            point[i] = place[i] + ahead * forward[i] + toRight * right[i] + above * up[i];
        return point;
    }
};

/// An eye on a head that points to an azimuth and an elevation (degrees). `mounted` is its place on
/// the head, metres: ahead, to the left, above.
Eye eyeOnHead(double azimuth, double elevation, const Vector3& mounted) {
    const double a = azimuth * std::numbers::pi / 180, e = elevation * std::numbers::pi / 180;
    Eye eye{{},
            {std::cos(e) * std::cos(a), std::cos(e) * std::sin(a), std::sin(e)},
            {std::sin(a), -std::cos(a), 0},
            {-std::sin(e) * std::cos(a), -std::sin(e) * std::sin(a), std::cos(e)}};
    eye.place = eye.at(mounted[0], -mounted[1], mounted[2]);
    return eye;
}

Camera onlyCamera(const PhotoStation& station) {
    const StationFiles files = findStationFiles(station.scanFolder());
    EXPECT_EQ(files.photos.size(), 1u);
    return prepareCamera(readCameraRecord(files, files.photos.at(0)), files.kind,
                         PhotoOutlines::Whole);
}

/// The pixel of a point, {-1, -1} where it is not seen.
std::pair<int, int> pixelOf(const Camera& camera, const Vector3& point) {
    Pixel pixel{-1, -1};
    if (!camera.projection.project(point[0], point[1], point[2], pixel)) return {-1, -1};
    return {pixel.column, pixel.row};
}

/// Where a pinhole shows points, in pixels so wide and high. The principal point is given in pixels
/// from the upper left corner.
struct Pinhole {
    double f, pitchX, pitchY, column, row;

    std::pair<int, int> show(double ahead, double toRight, double above) const {
        return {static_cast<int>(std::lround(column + f * toRight / ahead / pitchX)),
                static_cast<int>(std::lround(row - f * above / ahead / pitchY))};
    }
};

/// Points all over a picture, at different distances.
void expectPinhole(const Camera& camera, const Eye& eye, const Pinhole& pinhole) {
    int shown = 0;
    for (const double ahead : {0.7, 3.0, 40.0}) {
        for (double toRight = -0.61; toRight < 0.7; toRight += 0.117131) {
            for (double above = -0.83; above < 0.9; above += 0.131371) {
                const auto [column, row] = pinhole.show(ahead, toRight * ahead, above * ahead);
                const bool inside = column >= 10 && column < camera.size.width - 10 && row >= 10 &&
                                    row < camera.size.height - 10;
                const auto expected = inside ? std::pair(column, row) : std::pair(-1, -1);
                EXPECT_EQ(pixelOf(camera, eye.at(ahead, toRight * ahead, above * ahead)), expected);
                EXPECT_EQ(pixelOf(camera, eye.at(-ahead, toRight * ahead, above * ahead)),
                          std::pair(-1, -1))
                    << "the other way";
                shown += inside;
            }
        }
    }
    EXPECT_GT(shown, 100);
}

/// Looks to the left of a head, from the same place.
Eye leftOf(const Eye& head) {
    return {head.place, {-head.right[0], -head.right[1], -head.right[2]}, head.forward, head.up};
}

using Files = std::vector<std::pair<const char*, Bytes>>;  // under the project folder

TEST(Projection, EveryKindOfCameraShowsPointsAsItsPinholeDoes) {
    const CalibrationText classic = {
        .f = 11, .x0 = 5.93, .y0 = 8.11, .position = {120, -40, 75}};  // y0 is counted down
    // 30 mm ahead on a carrier 200 mm above the head, whose own x looks to the head's left.
    const CalibrationText newer = {.x0 = 6,
                                   .y0 = 8,
                                   .position = {30, 0, 0},
                                   .carrierPosition = {0, 0, 200},
                                   .carrierAxes = {{{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}}};
    // Row by row: the scanner's z becomes x. So the camera looks up.
    ByteWriter levelling;
    for (const double value : {0, 0, 1, 0, 1, 0, -1, 0, 0})
        levelling.f64(value);
    const auto classicFile = std::pair("camcal", classicCalibration({.x0 = 6, .y0 = 8}));
    const auto text = [](std::string_view view) { return Bytes(view.begin(), view.end()); };
    const auto lens = std::pair("scan/p1.cmr", text("10\r\n9 6 -8\r\n"));
    const Pinhole plain = {10, 0.01, 0.01, 600, 800}, own = {9, 0.01, 0.01, 600, 800};
    const auto expectOf = [](const Files& files, const Eye& eye, const Pinhole& pinhole,
                             double azimuth = 0, double tilt = 0, ImageSize size = {1200, 1600}) {
        SCOPED_TRACE(files.back().first);
        const PhotoStation station;
        station.addPhoto("p1", jpegBytes(size.width, size.height, Rgb{}), azimuth, tilt);
        for (const auto& [name, bytes] : files)
            writeFile(station.inProject(name), bytes);
        expectPinhole(onlyCamera(station), eye, pinhole);
    };
    expectOf({{"camcal", classicCalibration(classic)}}, eyeOnHead(35, 12, {0.120, -0.040, 0.075}),
             {11, 0.01, 0.01, 593, 811}, 35, 12);
    // A quarter turn from the sensor's 1200 x 1600: the working frame has the stored numbers, over
    // the upright picture.
    expectOf({classicFile}, eyeOnHead(-70, 0, {0, 0, 0}),
             {10, 0.01 * 1200 / 1600, 0.01 * 1600 / 1200, 800, 600}, -70, 0, {1600, 1200});
    expectOf({{"my_ncamcal.bin", newerCalibration(newer)}, {"scan/p1.kin", Bytes(26 * 4)}},
             leftOf(eyeOnHead(200, -5, {0, 0.030, 0.200})), plain, 200, -5);
    expectOf({classicFile, {"scan/p1.tor", levelling}},
             {{0, 0, 0}, {0, 0, 1}, {0, -1, 0}, {-1, 0, 0}}, plain);
    // One metre along x, with the axes of the scanner; then turned by 90 degrees about x.
    expectOf({lens, {"scan/p1.ext", text("1 0 0\n0 0 0\n")}},
             {{1, 0, 0}, {0, 0, -1}, {1, 0, 0}, {0, 1, 0}}, own);
    expectOf({lens, {"scan/p1.ext", text("0 0 0.5\n90 0 0\n")}},
             {{0, 0, 0.5}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}}, own);
}

/// A station with a camera ahead, 1200 x 1600 pixels of 0.01 mm, principal point in the middle.
Camera cameraWithDistortion(std::int32_t code, const std::vector<double>& coefficients) {
    const PhotoStation station;
    station.addPhoto("p1", jpegBytes(1200, 1600, Rgb{}));
    const double y0 = code == 0 ? 8 : -8;
    writeFile(station.inProject("camcal"),
              classicCalibration({.x0 = 6, .y0 = y0, .code = code, .coefficients = coefficients}));
    return onlyCamera(station);
}

TEST(Projection, LensesMoveWhatIsAwayFromTheMiddle) {
    // A point 10 m ahead, 4 m to the right and 3 m up: 4 mm right and 3 mm above the middle, 5 mm
    // from it. With k1 = -0.0008 it is shown at 0.98 of that, with k2 = 1e-5 too at 0.98625, with
    // k3 = 1e-6 too at 1.001875. Tangential: p1 (25 + 32) + 2 p2 12 = 0.057 - 0.024 to the right and
    // p2 (25 + 18) + 2 p1 12 = -0.043 + 0.024 up for p1 = 0.001, p2 = -0.001.
    const struct {
        std::int32_t code;
        std::vector<double> coefficients;
        double x, y;
    } cases[] = {
        {0, {}, 4, 3},
        {1, {}, 4, 3},
        {0, {-0.0008}, 3.92, 2.94},
        {1, {-0.0008}, 3.92, 2.94},
        {2, {-0.0008}, 3.92, 2.94},
        {2, {-0.0008, 1e-5}, 3.945, 2.95875},
        {0, {-0.0008, 1e-5, 1e-6}, 4.0075, 3.005625},
        {1, {-0.0008, 1e-5, 1e-6, 0.001, -0.001}, 4.0405, 2.986625},
        {2, {-0.0008, 1e-5, 1e-6, 0.001, -0.001}, 4.0075, 3.005625},
        {0, {-0.0008, 1e-5, 1e-6, 0.001, -0.001, 99, 99, 99}, 4.0075, 3.005625},
    };
    for (const auto& [code, coefficients, x, y] : cases) {
        const Camera camera = cameraWithDistortion(code, coefficients);
        EXPECT_EQ(pixelOf(camera, {10, -4, 3}),
                  std::pair(static_cast<int>(std::lround(600 + 100 * x)),
                            static_cast<int>(std::lround(800 - 100 * y))))
            << "code " << code << ", " << coefficients.size() << " coefficients";
    }
}

TEST(Projection, CornersLookThroughTheLens) {
    // The corner pixels of a picture with a margin of 10, and the ray of each: what the ray meets is
    // shown at that pixel again.
    for (const std::int32_t code : {0, 1, 2}) {
        const Camera camera = cameraWithDistortion(code, {-0.0015, 1e-5, 0, 0.0005, 0.0004});
        ASSERT_GE(camera.outline.size(), 4u);
        const std::pair<int, int> expected[] = {{10, 1589}, {1189, 1589}, {1189, 10}, {10, 10}};
        for (std::size_t i = 0; i < 4; ++i) {
            const Vector3& corner = camera.outline[i];
            EXPECT_NEAR(dot(corner, corner), 1, 1e-12);
            EXPECT_EQ(pixelOf(camera, {9 * corner[0], 9 * corner[1], 9 * corner[2]}), expected[i]);
        }
    }
}

TEST(Projection, TheSurroundingsAreNotShownASecondTime) {
    // r (1 - 0.0015 r^2) grows up to r = 14.9 mm and is back at 2.27 mm for r = 24.6 mm. A point so
    // far out would be shown inside the picture, where something else is seen.
    for (const std::int32_t code : {0, 1, 2}) {
        const Camera camera = cameraWithDistortion(code, {-0.0015});
        EXPECT_EQ(pixelOf(camera, {10, -24.6, 0}), std::pair(-1, -1));
        // 11 mm out, where the table has ended: (6.6, 8.8) is shown at 0.8185 of that.
        EXPECT_EQ(pixelOf(camera, {10, -6.6, 8.8}), std::pair(1140, 80));
    }
}

TEST(Projection, TheMarginIsNotSeen) {
    const Camera camera = cameraWithDistortion(0, {});
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    // 10 m ahead a pixel is 1 cm wide; halves round upwards.
    const std::pair<Vector3, std::pair<int, int>> cases[] = {
        {{10, 5.90, 0}, {10, 800}},
        {{10, 5.91, 0}, {-1, -1}},
        {{10, -5.89, 0}, {1189, 800}},
        {{10, -5.90, 0}, {-1, -1}},
        {{10, 0, 7.90}, {600, 10}},
        {{10, 0, 7.91}, {-1, -1}},
        {{10, 0, -7.89}, {600, 1589}},
        {{10, 0, -7.90}, {-1, -1}},
        {{10, -0.0049999, 0}, {600, 800}},
        {{10, -0.0050001, 0}, {601, 800}},
        {{10, 0.0049999, 0}, {600, 800}},
        {{10, 0.0050001, 0}, {599, 800}},
        {{kNaN, 0, 0}, {-1, -1}},
        {{kInfinity, 0, 0}, {-1, -1}},
        {{0, 0, 0}, {-1, -1}},
        {{1e-16, 0, 0}, {-1, -1}},
    };
    for (const auto& [point, pixel] : cases)
        EXPECT_EQ(pixelOf(camera, point), pixel)
            << point[0] << ", " << point[1] << ", " << point[2];
}

TEST(Projection, UnknownLensesAndEmptyCalibrationsAreRefused) {
    for (const auto& [code, k1] :
         {std::pair(3, 0.0), {-1, -0.1}, {1, std::numeric_limits<double>::quiet_NaN()}})
        EXPECT_THROW(cameraWithDistortion(code, {k1}), std::exception) << code;
    EXPECT_FALSE(cameraWithDistortion(1, {-1e-9}).isBeyondReach);
    const Camera narrow = cameraWithDistortion(1, {-1});
    EXPECT_TRUE(narrow.isBeyondReach) << "no way back from the corners";
    // The lens turns back at 1 / sqrt(3) mm, 10 mm before which the outline ends.
    const double reach = std::atan(1 / std::sqrt(3.0) / 10);
    EXPECT_NEAR(std::acos(narrow.outline[0][0]), reach, 0.03 * reach);
}

}  // namespace
}  // namespace brisko
