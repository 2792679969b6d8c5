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
    const Vector3 forward = {std::cos(e) * std::cos(a), std::cos(e) * std::sin(a), std::sin(e)};
    const Vector3 left = {-std::sin(a), std::cos(a), 0};
    const Vector3 up = {-std::sin(e) * std::cos(a), -std::sin(e) * std::sin(a), std::cos(e)};
    Eye eye{{}, forward, {-left[0], -left[1], -left[2]}, up};
    for (std::size_t i = 0; i < 3; ++i)
        eye.place[i] = mounted[0] * forward[i] + mounted[1] * left[i] + mounted[2] * up[i];
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

/// Where a pinhole shows points: 10 mm behind it, in pixels so wide and high. The principal point is
/// given in pixels from the upper left corner.
struct Pinhole {
    double f, pitchX, pitchY, column, row;

    std::pair<int, int> show(double ahead, double toRight, double above) const {
        return {static_cast<int>(std::lround(column + f * toRight / ahead / pitchX)),
                static_cast<int>(std::lround(row - f * above / ahead / pitchY))};
    }
};

/// Points all over a picture, at different distances.
void expectPinhole(const Camera& camera, const Eye& eye, const Pinhole& pinhole, int columns,
                   int rows) {
    int shown = 0;
    for (const double ahead : {0.7, 3.0, 40.0}) {
        for (double toRight = -0.61; toRight < 0.7; toRight += 0.117131) {
            for (double above = -0.83; above < 0.9; above += 0.131371) {
                const auto [column, row] = pinhole.show(ahead, toRight * ahead, above * ahead);
                const bool inside =
                    column >= 10 && column < columns - 10 && row >= 10 && row < rows - 10;
                const auto expected = inside ? std::pair(column, row) : std::pair(-1, -1);
                EXPECT_EQ(pixelOf(camera, eye.at(ahead, toRight * ahead, above * ahead)), expected);
                EXPECT_EQ(pixelOf(camera, eye.at(-ahead, toRight * ahead, above * ahead)),
                          std::pair(-1, -1))
                    << "behind the camera";
                shown += inside;
            }
        }
    }
    EXPECT_GT(shown, 100);
}

TEST(Projection, ClassicCamera) {
    const PhotoStation station;
    station.addPhoto("p1", jpegBytes(1200, 1600, Rgb{}), 35, 12);
    CalibrationText text;
    text.f = 11;
    text.x0 = 5.93;  // column 593
    text.y0 = 8.11;  // row 811, counted down
    text.position = {120, -40, 75};
    writeFile(station.inProject("camcal"), classicCalibration(text));
    expectPinhole(onlyCamera(station), eyeOnHead(35, 12, {0.120, -0.040, 0.075}),
                  {11, 0.01, 0.01, 593, 811}, 1200, 1600);
}

TEST(Projection, AStoredLandscapeIsAPortraitSeenInAnotherGrid) {
    // Stored 1600 x 1200, a quarter turn from the sensor's 1200 x 1600: the working frame has the
    // stored numbers, over the upright picture.
    const ClassicStation station;
    station.addPhoto("p1", jpegBytes(1600, 1200, Rgb{}), -70, 0);
    expectPinhole(onlyCamera(station), eyeOnHead(-70, 0, {0, 0, 0}),
                  {10, 0.01 * 1200 / 1600, 0.01 * 1600 / 1200, 800, 600}, 1600, 1200);
}

TEST(Projection, NewerCameraOnACarrier) {
    const PhotoStation station;
    station.addPhoto("p1", jpegBytes(1200, 1600, Rgb{}), 200, -5);
    writeFile(station.inScan("p1.kin"), Bytes(26 * 4));
    CalibrationText text;
    text.x0 = 6;
    text.y0 = 8;
    text.position = {30, 0, 0};          // ahead on the carrier
    text.carrierPosition = {0, 0, 200};  // above the head
    // The carrier's own x looks to the head's left.
    text.carrierAxes = {{{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}};
    writeFile(station.inProject("my_ncamcal.bin"), newerCalibration(text));
    // An eye that looks to the left of the head, 30 mm out and 200 mm up.
    const Eye head = eyeOnHead(200, -5, {0, 0.030, 0.200});
    Eye eye = head;
    eye.forward = {-head.right[0], -head.right[1], -head.right[2]};
    eye.right = head.forward;
    expectPinhole(onlyCamera(station), eye, {10, 0.01, 0.01, 600, 800}, 1200, 1600);
}

TEST(Projection, LevellingComesBeforeTheHead) {
    const ClassicStation station;
    station.addPhoto("p1", jpegBytes(1200, 1600, Rgb{}), 0, 0);
    // Row by row: the scanner's z becomes x. So the camera looks up.
    ByteWriter levelling;
    for (const double value : {0, 0, 1, 0, 1, 0, -1, 0, 0})
        levelling.f64(value);
    writeFile(station.inScan("p1.tor"), levelling);
    expectPinhole(onlyCamera(station), {{0, 0, 0}, {0, 0, 1}, {0, -1, 0}, {-1, 0, 0}},
                  {10, 0.01, 0.01, 600, 800}, 1200, 1600);
}

TEST(Projection, CameraOfAPhotoOfItsOwn) {
    const PhotoStation station;
    writeFile(station.inScan("a.jpg"), jpegBytes(1200, 1600, Rgb{}));
    writeFile(station.inScan("a.cmr"), "10\r\n9 6 -8\r\n");
    // One metre along x, looking along -z with y up: the axes of the scanner themselves.
    writeFile(station.inScan("a.ext"), "1 0 0\n0 0 0\n");
    expectPinhole(onlyCamera(station), {{1, 0, 0}, {0, 0, -1}, {1, 0, 0}, {0, 1, 0}},
                  {9, 0.01, 0.01, 600, 800}, 1200, 1600);
    // Turned by 90 degrees about x the camera looks along y, with z up.
    writeFile(station.inScan("a.ext"), "0 0 0.5\n90 0 0\n");
    expectPinhole(onlyCamera(station), {{0, 0, 0.5}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}},
                  {9, 0.01, 0.01, 600, 800}, 1200, 1600);
}

/// A station with a camera ahead, 1200 x 1600 pixels of 0.01 mm, principal point in the middle.
Camera cameraWithDistortion(std::int32_t code, const std::vector<double>& coefficients) {
    const PhotoStation station;
    station.addPhoto("p1", jpegBytes(1200, 1600, Rgb{}));
    CalibrationText text;
    text.x0 = 6;
    text.y0 = code == 0 ? 8 : -8;
    text.code = code;
    text.coefficients = coefficients;
    writeFile(station.inProject("camcal"), classicCalibration(text));
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
    // 10 m ahead a pixel is 1 cm wide.
    const struct {
        double y, z;
        int column, row;
    } cases[] = {{5.90, 0, 10, 800},        {5.91, 0, -1, -1},       {-5.89, 0, 1189, 800},
                 {-5.90, 0, -1, -1},        {0, 7.90, 600, 10},      {0, 7.91, -1, -1},
                 {0, -7.89, 600, 1589},     {0, -7.90, -1, -1},      {-0.0049999, 0, 600, 800},
                 {-0.0050001, 0, 601, 800},  // halves round upwards
                 {0.0049999, 0, 600, 800},  {0.0050001, 0, 599, 800}};
    for (const auto& [y, z, column, row] : cases)
        EXPECT_EQ(pixelOf(camera, {10, y, z}), std::pair(column, row)) << y << ", " << z;
    for (const double odd : {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(), 0.0, 1e-16}) {
        EXPECT_EQ(pixelOf(camera, {odd, odd, odd}).first == 599, false);
        EXPECT_EQ(pixelOf(camera, {odd, 0, 0}), std::pair(-1, -1)) << odd;
    }
}

TEST(Projection, UnknownLensesAndEmptyCalibrationsAreRefused) {
    EXPECT_THROW(cameraWithDistortion(3, {}), std::exception);
    EXPECT_THROW(cameraWithDistortion(-1, {-0.1}), std::exception);
    EXPECT_THROW(cameraWithDistortion(1, {std::numeric_limits<double>::quiet_NaN()}),
                 std::exception);
    EXPECT_FALSE(cameraWithDistortion(1, {-1e-9}).isBeyondReach);
    const Camera narrow = cameraWithDistortion(1, {-1});
    EXPECT_TRUE(narrow.isBeyondReach) << "no way back from the corners";
    // The lens turns back at 1 / sqrt(3) mm, 10 mm before which the outline ends.
    const double reach = std::atan(1 / std::sqrt(3.0) / 10);
    EXPECT_NEAR(std::acos(narrow.outline[0][0]), reach, 0.03 * reach);
}

}  // namespace
}  // namespace brisko
