#include "rvx_scan_colorizer/camera_record.h"

#include "rvx_scan_colorizer/calibration_files.h"
#include "rvx_scan_colorizer/station_text.h"

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

}  // namespace

CameraRecord readCameraRecord(const StationFiles& station, const PhotoFiles& photo) {
    CameraRecord record = station.kind == StationKind::PerPhoto ? readOwnCamera(photo)
                                                                : readStationCamera(station, photo);
    record.path = photo.path;
    record.cameraStep = station.cameraStep;
    return record;
}

}  // namespace brisko
