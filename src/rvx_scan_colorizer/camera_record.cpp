#include "rvx_scan_colorizer/camera_record.h"

#include "rvx_scan_colorizer/calibration_files.h"
#include "rvx_scan_colorizer/station_text.h"

namespace brisko {

namespace {

/// A calibration of the project folder. A missing one fails under the name that it would have there.
Calibration readProjectCalibration(const StationFiles& station, ProjectFile file,
                                   CalibrationLayout layout) {
    const std::string& path = station.calibration(file);
    if (path.empty()) throw FileFailure(station.projectFolder + "/" + usualName(file));
    return readCalibration(path, layout);
}

constexpr std::size_t kNewerStationRecord = 26;
constexpr std::size_t kPairedStationRecord = 38;

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

void readSingleCamera(const StationFiles& station, const PhotoFiles& photo, CameraRecord& record) {
    const bool newer =
        !station.calibration(ProjectFile::NewSingleCamera).empty() && !photo.stationRecord.empty();
    if (newer) readStationRecord(photo.stationRecord, kNewerStationRecord);
    const ProjectFile file =
        newer ? ProjectFile::NewSingleCamera : ProjectFile::ClassicSingleCamera;
    const auto layout = newer ? CalibrationLayout::Newer : CalibrationLayout::Classic;
    record.model = placedOnHead(readProjectCalibration(station, file, layout), photo);
    record.modelPath = station.calibration(file);
}

void readPairedCamera(const StationFiles& station, const PhotoFiles& photo, ProjectFile calibration,
                      CameraRecord& record) {
    // At a station with an offset line the record of a "W" photo is not looked at.
    const bool readsRecord = calibration == ProjectFile::ImagesNamedT || !station.hasOffsetLine;
    if (readsRecord && !photo.stationRecord.empty()) {
        readStationRecord(photo.stationRecord, kPairedStationRecord);
    }
    record.model = placedOnHead(
        readProjectCalibration(station, calibration, CalibrationLayout::Paired), photo);
    record.modelPath = station.calibration(calibration);
}

/// A camera that comes with each photo: its type shows in the size of its pixels.
CameraRecord readOwnCamera(const PhotoFiles& photo) {
    CameraRecord record;
    CameraModel model = readCameraText(photo.camera);
    const double size = model.pixelSize;
    record.cameraType = size < 0.005 ? 2 : size > 0.02 ? 1 : 0;
    record.modelPath = photo.camera;
    if (photo.exterior.empty()) return record;
    model.pose = readExteriorText(photo.exterior);
    record.model = model;
    return record;
}

/// A camera of the station: which one, the photo's first letter tells where there are two.
CameraRecord readStationCamera(const StationFiles& station, const PhotoFiles& photo) {
    CameraRecord record;
    const bool paired = !station.calibration(ProjectFile::ImagesNamedT).empty() ||
                        !station.calibration(ProjectFile::ImagesNamedW).empty();
    if (!paired) {
        readSingleCamera(station, photo, record);
    } else if (photo.name.starts_with('W')) {
        record.cameraType = 2;
        readPairedCamera(station, photo, ProjectFile::ImagesNamedW, record);
    } else if (photo.name.starts_with('T')) {
        record.cameraType = 1;
        readPairedCamera(station, photo, ProjectFile::ImagesNamedT, record);
    }
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
