#include <brisko_codec/scan_photos.h>

#include "support/photo_station.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace brisko {
namespace {

using namespace test;

TEST(ScanPhotos, ShowsWhatBecomesOfEachPhoto) {
    const Bytes jpeg = jpegBytes(64, 48, grey(5));
    const PhotoStation station;
    writeFile(station.inScan("lonely.jpg"), jpeg);
    station.addPhoto("T1", jpeg);
    station.addPhoto("W1", jpeg);
    station.addPhoto("W2", {1, 2, 3});
    station.addPhoto("X1", jpeg);
    CalibrationText text;
    writeFile(station.inProject("camcalW"), pairedCalibration(text));
    const ScanPhotos found = findScanPhotos(station.inScan("scan.cl3"));
    const PhotoUse expected[] = {PhotoUse::WithoutAngles, PhotoUse::BrokenCalibration,
                                 PhotoUse::Used, PhotoUse::BrokenPhoto, PhotoUse::WithoutCamera};
    ASSERT_EQ(found.photos.size(), 5u);
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(found.photos[i].use, expected[i]) << found.photos[i].path;
    EXPECT_EQ(found.count(PhotoUse::Used), 1u);
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
    CalibrationText text;
    const std::pair<std::function<void()>, const char*> wrong[] = {
        {[&] { text.py = 0; }, "vertical pixel pitch is 0 mm"},
        {[&] { text.px = -0.01; }, "horizontal pixel pitch is -0.01 mm"},
        {[&] { text.f = 0; }, "principal distance is 0 mm"},
        {[&] { text.code = 7; }, "model code is 7"},
        {[&] { text.coefficients = {NAN}; }, "distortion coefficient"},
        {[&] {
             text.angles = {NAN, 0, 0};
         },
         "rotation"},
    };
    for (const auto& [breakIt, field] : wrong) {
        text = {};
        breakIt();
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

TEST(ScanPhotos, DecodingShowsWhichPixelsAreDamaged) {
    const ClassicStation station;
    Bytes jpeg = jpegBytes(
        256, 256, [](int column, int row) { return grey(128 + ((column * 7 + row * 13) & 63)); });
    station.addPhoto("a", jpeg);
    writeFile(station.inScan("lonely.jpg"), jpeg);
    jpeg.resize(jpeg.size() / 2);
    station.addPhoto("b", jpeg);
    const std::string scan = station.inScan("scan.cl3");
    for (const ScanPhoto& photo : findScanPhotos(scan).photos)
        EXPECT_EQ(photo.pixels, PhotoPixels::NotDecoded);
    const ScanPhotos found = decodeScanPhotos(scan);
    ASSERT_EQ(found.photos.size(), 3u);
    EXPECT_EQ(found.photos[0].pixels, PhotoPixels::Whole);
    EXPECT_EQ(found.photos[1].use, PhotoUse::Used);
    // Without the module that decodes what is damaged there is nothing to be had of it.
    EXPECT_TRUE(found.photos[1].pixels == PhotoPixels::Mended ||
                found.photos[1].pixels == PhotoPixels::Unreadable);
    EXPECT_EQ(found.photos[2].pixels, PhotoPixels::NotDecoded);
    EXPECT_TRUE(found.culprit.empty());
}

}  // namespace
}  // namespace brisko
