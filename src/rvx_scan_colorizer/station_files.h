#pragma once

#include "rvx_scan_colorizer/camera_traits.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brisko {

/// The names of the regular files in a folder, in the order that case-blind file systems give: by
/// their upper-case letters (ASCII), then by bytes. So results do not depend on the file system.
/// Names that are not UTF-8 are passed over. A folder that cannot be read has no files.
std::vector<std::string> listFiles(const std::string& folder);

/// Whether the name of any entry of a folder holds a text: file, folder or whatever it is.
bool holdsEntryNamed(const std::string& folder, std::string_view part);

/// The folder that holds a file, as an absolute path without "." and "..".
std::string folderOf(const std::string& path);

/// How the photos of a station were taken, as its files show.
enum class StationKind {
    Turned = 1,      // photos are stored turned
    PerPhoto = 2,    // every photo has a camera and an exterior orientation of its own
    WithOffset = 3,  // the project has an offset file
};

/// A photo and its companions. An empty path: no such file.
struct PhotoFiles {
    std::string path, name;
    std::string angles, levelling, stationRecord;  // .ang, .tor, .kin
    std::string camera, exterior;                  // .cmr, .ext
};

/// What lies in the folders of a station.
struct StationFiles {
    std::string projectFolder;
    StationKind kind = StationKind::Turned;
    std::array<std::string, kCameraKinds> calibrations;  // by kind; empty where there is none
    bool hasOffsetLine = false;
    int cameraStep = 60;
    std::vector<PhotoFiles> photos;  // every photo of the scan folder, used or not

    const std::string& calibration(CameraKind camera) const {
        return calibrations[static_cast<std::size_t>(camera)];
    }
    /// Whether the station takes a photo at all.
    bool takes(const PhotoFiles& photo) const {
        return !(kind == StationKind::PerPhoto ? photo.camera : photo.angles).empty();
    }
};

/// Looks through the folder of a scan and the project folder above it. Throws FileFailure when a file
/// that sets the camera step or the offset cannot be opened.
StationFiles findStationFiles(const std::string& scanFolder);

}  // namespace brisko
