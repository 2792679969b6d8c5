#include "rvx_scan_colorizer/station_files.h"

#include "rvx_scan_colorizer/calibration_files.h"
#include "rvx_scan_colorizer/camera.h"
#include "support/comma_locale.h"
#include "support/photo_station.h"

#include <gtest/gtest.h>

#include <numbers>

namespace brisko {
namespace {

using namespace test;

std::vector<std::string> photoNames(const StationFiles& files) {
    std::vector<std::string> names;
    for (const PhotoFiles& photo : files.photos)
        names.push_back(photo.name);
    return names;
}

TEST(StationFiles, NamesMatchInTwoSpellingsAndInOrder) {
    const PhotoStation station;
    for (const char* const name : {"b.jpg", "A.JPG", "c.jpg.old", "d.Jpg", "e.png", "\xFF.jpg"})
        writeFile(station.inScan(name), "");
    std::filesystem::create_directory(station.inScan("folder.jpg"));
    for (const char* const name :
         {"x_ncamcal_camcalT", "CAMCALT1", "camcalW", "camcal.2", "CAMCAL"})
        writeFile(station.inProject(name), "");
    const StationFiles files = findStationFiles(station.scanFolder());
    EXPECT_EQ(photoNames(files), (std::vector<std::string>{"A.JPG", "b.jpg", "c.jpg.old"}));
    EXPECT_EQ(files.kind, StationKind::Turned);
    EXPECT_EQ(files.cameraStep, 60);
    EXPECT_EQ(files.calibration(CameraKind::Newer), station.inProject("x_ncamcal_camcalT"));
    EXPECT_EQ(files.calibration(CameraKind::T), station.inProject("CAMCALT1"));
    EXPECT_EQ(files.calibration(CameraKind::W), station.inProject("camcalW"));
    EXPECT_EQ(files.calibration(CameraKind::Classic), station.inProject("camcal.2"))
        << "the last in the order of names";
}

TEST(StationFiles, AFolderThatIsNotThereHasNoFiles) {
    EXPECT_TRUE(findStationFiles("/no/such/folder").photos.empty());
    EXPECT_EQ(folderOf("/a/b/../c/./scan.cl3"), "/a/c");
    const test::TempFolder folder;  // ".." leads to the parent of the folder that the link leads to
    const std::filesystem::path root = std::filesystem::canonical(folder.path());
    std::filesystem::create_directories(root / "far/below");
    std::filesystem::create_symlink(root / "far/below", root / "near");
    EXPECT_EQ(folderOf((root / "near/../scan.cl3").string()), (root / "far").string());
    EXPECT_EQ(folderOf((root / "near/scan.cl3").string()), (root / "near").string());
    EXPECT_EQ(folderOf("scan.cl3"), std::filesystem::current_path().string());
}

TEST(StationFiles, TheCameraStepIsOneExactLine) {
    const struct {
        const char* text;
        int step;
    } cases[] = {
        {"WCAMSTEP=30STEP", 30},   {"WCAMSTEP=30STEP\n", 30},   {"WCAMSTEP=30STEP\r\nmore", 30},
        {"WCAMSTEP=30STEP\r", 30}, {"WCAMSTEP=30STEP \n", 60},  {"WCAMSTEP=60STEP\n", 60},
        {"wcamstep=30step", 60},   {"\nWCAMSTEP=30STEP\n", 60}, {"", 60},
    };
    for (const auto& [text, step] : cases) {
        const PhotoStation station;
        writeFile(station.inScan("my_camera_cfg.txt"), text);
        EXPECT_EQ(findStationFiles(station.scanFolder()).cameraStep, step) << text;
    }
}

/// A photo with a camera of its own.
void addOwnCamera(const PhotoStation& station, std::string_view pixelSize = "") {
    writeFile(station.inScan("a.jpg"), "");
    writeFile(station.inScan("a.cmr"), pixelSize);
    writeFile(station.inScan("a.ext"), "");
}

TEST(StationFiles, AnOffsetFileMakesTheKindAndItsLineTheStep) {
    const struct {
        const char *name, *text;
        bool hasLine;
    } cases[] = {{"x.ofs", "", false},
                 {"x.ofs", "\n", true},
                 {"x.ofs", "12 3\n", true},
                 {"camcal.ofs", "1\n", false}};
    for (const auto& [name, text, hasLine] : cases) {
        const PhotoStation station;
        addOwnCamera(station);
        EXPECT_EQ(findStationFiles(station.scanFolder()).kind, StationKind::PerPhoto);
        writeFile(station.inScan("camera_cfg"), "WCAMSTEP=60STEP\n");
        writeFile(station.inProject(name), text);
        const StationFiles files = findStationFiles(station.scanFolder());
        EXPECT_EQ(files.kind, StationKind::WithOffset);
        EXPECT_EQ(files.hasOffsetLine, hasLine) << name;
        EXPECT_EQ(files.cameraStep, hasLine ? 30 : 60);
    }
    const PhotoStation folder;
    std::filesystem::create_directory(folder.inProject("a.ofs.old"));
    EXPECT_EQ(findStationFiles(folder.scanFolder()).kind, StationKind::WithOffset);
}

TEST(CalibrationFiles, FieldsStandWhereTheLayoutsSay) {
    const TempFolder folder;
    const std::string path = folder / "file";
    CalibrationText text = {.f = 21,
                            .x0 = 5.5,
                            .y0 = 7.5,
                            .code = 2,
                            .px = 0.004,
                            .py = 0.005,
                            .position = {1, 2, 3},
                            .axes = {{{11, 12, 13}, {21, 22, 23}, {31, 32, 33}}},
                            .carrierPosition = {4, 5, 6}};
    for (const std::size_t count : {0U, 4U, 12U}) {
        text.coefficients.assign(count, 0.25);
        for (const auto& [layout, bytes] : {std::pair(kClassicLayout, classicCalibration(text)),
                                            {kPairedLayout, pairedCalibration(text)},
                                            {kNewerLayout, newerCalibration(text)}}) {
            writeFile(path, bytes);
            const Calibration read = readCalibration(path, layout);
            EXPECT_EQ(read.camera.principalDistance, 21.0 / 1000);
            EXPECT_EQ(read.camera.principalY, 7.5 / 1000);
            EXPECT_EQ(read.camera.modelCode, 2);
            EXPECT_EQ(read.camera.coefficients[0], count > 0 ? 0.25 : 0);
            EXPECT_EQ(read.camera.coefficients[4], count > 4 ? 0.25 : 0);
            EXPECT_EQ(read.camera.pitchX, 0.004 / 1000);
            EXPECT_EQ(read.camera.pitchY, 0.005 / 1000);
            EXPECT_EQ(read.mounting.origin, (Vector3{1, 2, 3}));
            EXPECT_EQ(read.carrier.has_value(), layout.hasCarrier);
            if (layout.axesAreAngles) continue;
            EXPECT_EQ(read.mounting.axes.rows[0], (Vector3{11, 12, 13}));
            EXPECT_EQ(read.mounting.axes.rows[2], (Vector3{31, 32, 33}));
        }
    }
}

TEST(CalibrationFiles, AngleFilesCountHalfATurn) {
    const TempFolder folder;
    writeFile(folder / "a", ByteWriter().i32(2147483647).i32(-1073741824));
    const HeadAngles angles = readHeadAngles(folder / "a");
    EXPECT_DOUBLE_EQ(angles.horizontal, std::numbers::pi);
    EXPECT_NEAR(angles.tilt, -std::numbers::pi / 2, 1e-9);
    writeFile(folder / "k", ByteWriter().i32(5).i32(-7));
    EXPECT_EQ(readStationRecord(folder / "k", 3), (StationRecord{5, -7, 0}));
}

TEST(CalibrationFiles, ShortAndAbsurdFilesLeaveZeros) {
    const TempFolder folder;
    const std::string path = folder / "file";
    const Bytes whole = newerCalibration({});
    for (std::size_t length = 0; length < whole.size(); ++length) {
        writeFile(path, cutTo(whole, length));
        const Calibration read = readCalibration(path, kNewerLayout);
        EXPECT_EQ(read.camera.principalDistance, length < 8 ? 0 : 10.0 / 1000);
        EXPECT_EQ(read.camera.pitchX, length < 40 ? 0 : 0.01 / 1000) << length;
        EXPECT_EQ(read.carrier->axes.rows[2][2], 0);
    }
    for (const std::int32_t count : {-1, INT32_MIN, 11, INT32_MAX}) {
        ByteWriter out;
        out.f64(10).f64(0).f64(0).i32(0).i32(count).f64(0.5);
        writeFile(path, out);
        const Calibration read = readCalibration(path, kPairedLayout);
        EXPECT_EQ(read.camera.coefficients[0], count > 0 ? 0.5 : 0);
        EXPECT_EQ(read.camera.pitchX, 0);
    }
    EXPECT_THROW(readCalibration(folder / "none", kClassicLayout), FileFailure);
    EXPECT_THROW(readHeadAngles(folder / "none"), FileFailure);
    EXPECT_THROW(readFirstLine(folder / "none"), FileFailure);
    EXPECT_THROW(readExteriorText(folder / "none"), FileFailure);
}

TEST(StationText, NumbersHaveADecimalPointInEveryLocale) {
    const CommaLocale locale;
    const TempFolder folder;
    const std::string path = folder / "a.cmr";
    writeFile(path, "4.5\n8.25 6.5 -8.5\n1e-3 2e-4 nonsense 7\n");
    const CameraModel camera = readCameraText(path);
    EXPECT_EQ(camera.pixelSize, 4.5 / 1000);
    EXPECT_EQ(camera.principalDistance, 8.25 / 1000);
    EXPECT_EQ(camera.principalY, -8.5 / 1000);
    EXPECT_EQ(camera.coefficients, (Coefficients{1e-3, 2e-4, 0, 0, 0}));
    for (const char* const text : {"", "\n5\n", "size 5\n", "nan\n", "1e999\n"}) {
        writeFile(path, text);
        EXPECT_THROW(readCameraText(path), FileFailure) << text;
    }
}

/// The kind of the one camera of a station; nothing where the record has no camera model.
std::optional<CameraKind> kindOf(const PhotoStation& station) {
    const StationFiles files = findStationFiles(station.scanFolder());
    const CameraRecord record = readCameraRecord(files, files.photos.at(0));
    return record.model ? std::optional(record.kind) : std::nullopt;
}

TEST(CameraRecord, TheKindComesFromNamesOrPixels) {
    using Kind = std::optional<CameraKind>;
    for (const auto& [name, kind] : {std::pair("W1", Kind(CameraKind::W)),
                                     {"T1", CameraKind::T},
                                     {"X1", std::nullopt},
                                     {"w1", std::nullopt}}) {
        const PhotoStation station;
        station.addPhoto(name, {});
        writeFile(station.inProject("camcalW"), pairedCalibration({}));
        writeFile(station.inProject("camcalT"), pairedCalibration({}));
        EXPECT_EQ(kindOf(station), kind) << name;
    }
    for (const auto& [size, kind] : {std::pair("4.9", CameraKind::W),
                                     {"5", CameraKind::Classic},
                                     {"20", CameraKind::Classic},
                                     {"20.1", CameraKind::T}}) {
        const PhotoStation station;
        addOwnCamera(station, size);
        EXPECT_EQ(kindOf(station), kind) << size;
    }
}

TEST(CameraRecord, AMissingCalibrationIsAFailure) {
    const PhotoStation station;
    station.addPhoto("W1", {});
    EXPECT_THROW(kindOf(station), FileFailure) << "no calibration at all";
    writeFile(station.inProject("camcal"), classicCalibration({}));
    EXPECT_EQ(kindOf(station), CameraKind::Classic);
    writeFile(station.inProject("ncamcal"), newerCalibration({}));
    EXPECT_EQ(kindOf(station), CameraKind::Classic);
    writeFile(station.inProject("camcalT"), pairedCalibration({}));
    EXPECT_THROW(kindOf(station), FileFailure) << "the other camera's is there";
}

}  // namespace
}  // namespace brisko
