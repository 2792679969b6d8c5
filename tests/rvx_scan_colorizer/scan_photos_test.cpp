#include <brisko_codec/scan_photos.h>

#include "support/photo_station.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace brisko {
namespace {

using namespace test;

TEST(ScanPhotos, ReportsWhatBecomesOfEachPhoto) {
    const Bytes jpeg = jpegBytes(64, 48, grey(5));
    const Bytes lively = jpegBytes(
        256, 256, [](int column, int row) { return grey(128 + ((column * 7 + row * 13) & 63)); });
    const PhotoStation station;
    writeFile(station.inScan("lonely.jpg"), jpeg);
    station.addPhoto("T1", jpeg);
    station.addPhoto("W1", jpeg);
    station.addPhoto("W2", {1, 2, 3});
    station.addPhoto("W3", cutTo(lively, lively.size() / 2));
    station.addPhoto("X1", jpeg);
    writeFile(station.inProject("camcalW"), pairedCalibration({}));
    const ScanPhotos found = findScanPhotos(station.inScan("scan.cl3"));
    const PhotoUse expected[] = {PhotoUse::WithoutAngles, PhotoUse::BrokenCalibration,
                                 PhotoUse::Used,          PhotoUse::BrokenPhoto,
                                 PhotoUse::Used,          PhotoUse::WithoutCamera};
    const ScanPhotos decoded = decodeScanPhotos(station.inScan("scan.cl3"));
    int asked = 0;
    const auto stop = [&] { return ++asked < 4 ? void() : throw std::out_of_range("stop"); };
    EXPECT_THROW(decodeScanPhotos(station.inScan("scan.cl3"), stop), std::out_of_range);
    ASSERT_EQ(found.photos.size(), 6u);
    ASSERT_EQ(decoded.photos.size(), 6u);
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(found.photos[i].use, expected[i]) << found.photos[i].path;
        EXPECT_EQ(found.photos[i].pixels, PhotoPixels::NotDecoded);
        const bool isTried =
            expected[i] == PhotoUse::Used || expected[i] == PhotoUse::WithoutCamera;
        EXPECT_EQ(decoded.photos[i].pixels != PhotoPixels::NotDecoded, isTried) << i;
    }
    EXPECT_EQ(decoded.photos[2].pixels, PhotoPixels::Whole);
    // Without the module that decodes what is damaged there is nothing to be had of it.
    EXPECT_TRUE(decoded.photos[4].pixels == PhotoPixels::Mended ||
                decoded.photos[4].pixels == PhotoPixels::Unreadable);
    EXPECT_EQ(found.count(PhotoUse::Used), 2u);
    EXPECT_EQ(found.photos[2].width, 64);
    EXPECT_EQ(found.photos[2].height, 48);
    EXPECT_EQ(found.culprit, station.inProject("camcalT"));
}

TEST(ScanPhotos, NamesTheFileAtFault) {
    const PhotoStation station;
    EXPECT_TRUE(findScanPhotos(station.inScan("scan.cl3")).photos.empty());
    EXPECT_TRUE(findScanPhotos("").culprit.empty());
    station.addPhoto("a", jpegBytes(64, 48, grey(5)));
    writeFile(station.inProject("camcal"), "too short");
    ScanPhotos found = findScanPhotos(station.inScan("scan.cl3"));
    EXPECT_EQ(found.photos.at(0).use, PhotoUse::BrokenCalibration);
    EXPECT_EQ(found.culprit, station.inProject("camcal"));
    const std::pair<CalibrationText, const char*> wrong[] = {
        {{.py = 0}, "vertical pixel pitch is 0 mm"},
        {{.px = -0.01}, "horizontal pixel pitch is -0.01 mm"},
        {{.f = 0}, "principal distance is 0 mm"},
        {{.code = 7}, "model code is 7"},
        {{.coefficients = {NAN}}, "distortion coefficient"},
        {{.angles = {NAN, 0, 0}}, "rotation"},
    };
    for (const auto& [text, field] : wrong) {
        writeFile(station.inProject("camcal"), classicCalibration(text));
        const PhotoFault fault = findPhotoFaults(station.inScan("scan.cl3")).at(0);
        EXPECT_EQ(fault.file, station.inProject("camcal"));
        EXPECT_NE(fault.text.find(field), std::string::npos) << fault.text;
    }
    writeFile(station.inScan("a.cmr"), "nothing");
    writeFile(station.inScan("a.ext"), "");
    found = findScanPhotos(station.inScan("scan.cl3"));
    EXPECT_EQ(found.stationKind, 2);
    EXPECT_EQ(found.culprit, station.inScan("a.cmr"));
}

}  // namespace
}  // namespace brisko
