#pragma once

#include "rvx_scan_colorizer/camera_traits.h"
#include "rvx_scan_colorizer/station_files.h"

#include <optional>
#include <string>

namespace brisko {

/// One photo of a station with what its files say about the camera.
struct CameraRecord {
    std::string path;
    CameraKind kind = CameraKind::Classic;
    int cameraStep = 60;
    std::optional<CameraModel> model;  // without one the photo shows nothing, but is loaded
    std::string modelPath;             // the file that describes the camera
};

/// Reads the calibration of a photo that the station takes. Throws FileFailure when a file that the
/// kind of station asks for is missing or cannot be opened.
CameraRecord readCameraRecord(const StationFiles& station, const PhotoFiles& photo);

}  // namespace brisko
