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

CameraModel readSingleCamera(const StationFiles& station, const PhotoFiles& photo) {
    const bool newer = !station.calibration(ProjectFile::NewSingleCamera).empty();
    if (newer && !photo.stationRecord.empty()) {
        readStationRecord(photo.stationRecord, kNewerStationRecord);
        return placedOnHead(
            readProjectCalibration(station, ProjectFile::NewSingleCamera, CalibrationLayout::Newer),
            photo);
    }
    return placedOnHead(readProjectCalibration(station, ProjectFile::ClassicSingleCamera,
                                               CalibrationLayout::Classic),
                        photo);
}

CameraModel readPairedCamera(const StationFiles& station, const PhotoFiles& photo,
                             ProjectFile calibration) {
    // At a station with an offset line the record of a "W" photo is not looked at.
    const bool readsRecord = calibration == ProjectFile::ImagesNamedT || !station.hasOffsetLine;
    if (readsRecord && !photo.stationRecord.empty()) {
        readStationRecord(photo.stationRecord, kPairedStationRecord);
    }
    return placedOnHead(readProjectCalibration(station, calibration, CalibrationLayout::Paired),
                        photo);
}

/// A camera that comes with each photo: its type shows in the size of its pixels.
CameraRecord readOwnCamera(const PhotoFiles& photo) {
    CameraRecord record;
    CameraModel model = readCameraText(photo.camera);
    const double size = model.pixelSize;
    record.cameraType = size < 0.005 ? 2 : size > 0.02 ? 1 : 0;
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
        record.model = readSingleCamera(station, photo);
    } else if (photo.name.starts_with('W')) {
        record.cameraType = 2;
        record.model = readPairedCamera(station, photo, ProjectFile::ImagesNamedW);
    } else if (photo.name.starts_with('T')) {
        record.cameraType = 1;
        record.model = readPairedCamera(station, photo, ProjectFile::ImagesNamedT);
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
