#include "rvx_scan_colorizer/camera.h"

#include "rvx_scan_colorizer/calibration_files.h"

#include <algorithm>

namespace brisko {

namespace {

/// The station's calibration. A missing one fails under the name that it usually has.
Calibration readStationCalibration(const StationFiles& station, const CameraTraits& traits) {
    const std::string& path = station.calibration(traits.kind);
    if (path.empty()) {
        throw FileFailure(station.projectFolder + "/" + std::string(traits.calibration));
    }
    return readCalibration(path, traits.layout);
}

/// The calibration's camera on the head, wherever the head points for this photo.
CameraModel placedOnHead(const Calibration& calibration, const PhotoFiles& photo) {
    const HeadAngles angles = readHeadAngles(photo.angles);
    const Matrix3 levelling = photo.levelling.empty() ? Matrix3() : readLevelling(photo.levelling);
    CameraModel camera = calibration.camera;
    camera.pose = CameraPose::ofHead(angles.horizontal, angles.tilt, levelling);
    if (calibration.carrier) {
        camera.pose = camera.pose.inside(calibration.carrier->origin, calibration.carrier->axes);
    }
    camera.pose = camera.pose.inside(calibration.mounting.origin, calibration.mounting.axes);
    return camera;
}

/// The record's values are not used, but a record that cannot be read is a failure.
void readStationRecordOf(const StationFiles& station, const PhotoFiles& photo,
                         const CameraTraits& traits) {
    if (traits.stationRecord == 0 || photo.stationRecord.empty()) return;
    if (station.hasOffsetLine && !traits.readsStationRecordAtOffset) return;
    readStationRecord(photo.stationRecord, traits.stationRecord);
}

/// A camera that comes with each photo: its kind shows in the size of its pixels.
CameraRecord readOwnCamera(const PhotoFiles& photo) {
    CameraRecord record;
    CameraModel model = readCameraText(photo.camera);
    record.kind = kindOfPixels(model.pixelSize);
    record.modelPath = photo.camera;
    if (photo.exterior.empty()) return record;
    model.pose = readExteriorText(photo.exterior);
    record.model = model;
    return record;
}

bool hasFilesFor(const CameraTraits& traits, const StationFiles& station, const PhotoFiles& photo) {
    const bool hasRecord = !traits.needsStationRecord || !photo.stationRecord.empty();
    return hasRecord && !station.calibration(traits.kind).empty();
}

/// The kind of the station's camera that took a photo; nothing when none of its cameras did. With a
/// camera whose photos begin with a letter, the letter alone decides.
std::optional<CameraKind> kindOf(const StationFiles& station, const PhotoFiles& photo) {
    const auto& all = allCameraTraits();
    const bool lettersDecide = std::any_of(all.begin(), all.end(), [&](const CameraTraits& traits) {
        return traits.photosBegin != 0 && !station.calibration(traits.kind).empty();
    });
    for (const CameraTraits& traits : all) {
        const bool isIts = lettersDecide ? photo.name.starts_with(traits.photosBegin)
                                         : hasFilesFor(traits, station, photo);
        if (isIts) return traits.kind;
    }
    if (lettersDecide) return std::nullopt;
    return CameraKind::Classic;
}

CameraRecord readStationCamera(const StationFiles& station, const PhotoFiles& photo) {
    CameraRecord record;
    const std::optional<CameraKind> kind = kindOf(station, photo);
    if (!kind) return record;
    const CameraTraits& traits = traitsOf(*kind);
    record.kind = *kind;
    readStationRecordOf(station, photo, traits);
    record.model = placedOnHead(readStationCalibration(station, traits), photo);
    record.modelPath = station.calibration(*kind);
    return record;
}

double blendWidth(const CameraModel& model, const ImageSize& nominal, const ImageSize& working) {
    constexpr double kNominalPixels = 200;
    const double nominalWidth = nominal.width;
    return working.width / nominalWidth * kNominalPixels *
           (nominalWidth / sensorWidth(model.pixelSize));
}

/// The part of a photo that counts as its view, both ends included.
struct View {
    Pixel upperLeft, lowerRight;
};

View viewOf(const CameraRecord& record, const Projection& projection, const ImageSize& size) {
    if (traitsOf(record.kind).showsUpperHalf(record.cameraStep)) {
        constexpr int kBelowMiddle = 199;
        return {{0, 0}, {size.width - 1, size.height / 2 + kBelowMiddle}};
    }
    const int x = projection.marginX(), y = projection.marginY();
    return {{x, y}, {size.width - x - 1, size.height - y - 1}};
}

/// The corners of the view, from the lower left one towards the lower right one. For whole outlines a
/// grid over it follows: in between, a view bulges out of the box around its corners, all the more the
/// wider it is and the better it faces an axis.
std::vector<Pixel> outlineOf(const View& view, PhotoOutlines outlines) {
    constexpr int kCells = 8;
    const auto [left, top] = view.upperLeft;
    const auto [right, bottom] = view.lowerRight;
    std::vector<Pixel> pixels = {{left, bottom}, {right, bottom}, {right, top}, {left, top}};
    if (outlines == PhotoOutlines::Corners) return pixels;
    for (int i = 0; i <= kCells; ++i) {
        for (int k = 0; k <= kCells; ++k) {
            pixels.push_back(
                {left + (right - left) / kCells * i, top + (bottom - top) / kCells * k});
        }
    }
    return pixels;
}

}  // namespace

CameraRecord readCameraRecord(const StationFiles& station, const PhotoFiles& photo) {
    CameraRecord record = station.kind == StationKind::PerPhoto ? readOwnCamera(photo)
                                                                : readStationCamera(station, photo);
    record.path = photo.path;
    record.cameraStep = station.cameraStep;
    return record;
}

Camera prepareCamera(const CameraRecord& record, StationKind station, PhotoOutlines outlines) {
    Camera camera;
    camera.path = record.path;
    const CameraTraits& traits = traitsOf(record.kind);
    if (station == StationKind::Turned) camera.turn = traits.turn;
    const ImageSize nominal = getImageDimention(record.path);
    camera.pixels =
        static_cast<std::uint64_t>(nominal.width) * static_cast<std::uint64_t>(nominal.height);
    if (!record.model) return camera;
    camera.size = traits.workingSize(nominal);
    camera.projection = Projection(*record.model, traits, nominal, camera.size);
    camera.blending = Blending(Blending::edgesOf(traits, record.cameraStep, station), camera.size,
                               blendWidth(*record.model, nominal, camera.size));
    for (const Pixel& pixel : outlineOf(viewOf(record, camera.projection, camera.size), outlines)) {
        camera.outline.push_back(camera.projection.directionTo(pixel, camera.isBeyondReach));
    }
    return camera;
}

}  // namespace brisko
