#include "rvx_scan_colorizer/station_files.h"

#include "base/companion_path.h"
#include "base/file.h"
#include "rvx_scan_colorizer/folder_listing.h"
#include "rvx_scan_colorizer/station_text.h"

#include <string_view>

namespace brisko {

namespace {

/// A name matches when either spelling occurs anywhere in it. Cases count.
template <class Role>
struct FilePattern {
    std::string_view lower, upper;
    Role role;
};

enum class ProjectRole { NewSingleCamera, ImagesNamedT, ImagesNamedW, ClassicSingleCamera, Offset };
enum class ScanRole { Photo, CameraStep };

// Tried from the top, and the first match wins: so "ncamcal" stands above the "camcal" in it.
constexpr FilePattern<ProjectRole> kProjectFiles[] = {
    {"ncamcal", "NCAMCAL", ProjectRole::NewSingleCamera},
    {"camcalT", "CAMCALT", ProjectRole::ImagesNamedT},
    {"camcalW", "CAMCALW", ProjectRole::ImagesNamedW},
    {"camcal", "CAMCAL", ProjectRole::ClassicSingleCamera},
    {".ofs", ".ofs", ProjectRole::Offset},
};
constexpr FilePattern<ScanRole> kScanFiles[] = {
    {".jpg", ".JPG", ScanRole::Photo},
    {"camera_cfg", "CAMERA_CFG", ScanRole::CameraStep},
};

template <class Role, std::size_t Count>
std::optional<Role> roleOf(const std::string& name, const FilePattern<Role> (&patterns)[Count]) {
    for (const auto& pattern : patterns) {
        const bool matches = name.find(pattern.lower) != std::string::npos ||
                             name.find(pattern.upper) != std::string::npos;
        if (matches) return pattern.role;
    }
    return std::nullopt;
}

std::string inFolder(const std::string& folder, const std::string& name) {
    return (folder + "/").append(name);
}

std::string existing(const std::string& path) {
    return fileStamp(path.c_str()) ? path : std::string();
}

PhotoFiles findCompanions(const std::string& path, const std::string& name) {
    const auto companion = [&path](const char* extension) {
        return existing(companionForWriting(path, extension));
    };
    return {path,
            name,
            companion(".ang"),
            companion(".tor"),
            companion(".kin"),
            companion(".cmr"),
            companion(".ext")};
}

void lookThroughScanFolder(const std::string& folder, StationFiles& station) {
    for (const std::string& name : listFiles(folder)) {
        const std::string path = inFolder(folder, name);
        const std::optional<ScanRole> role = roleOf(name, kScanFiles);
        if (role == ScanRole::CameraStep) station.cameraStep = readCameraStep(path);
        if (role != ScanRole::Photo) continue;
        station.photos.push_back(findCompanions(path, name));
        const PhotoFiles& photo = station.photos.back();
        if (!photo.camera.empty() && !photo.exterior.empty()) station.kind = StationKind::PerPhoto;
    }
}

void lookThroughProjectFolder(StationFiles& station) {
    // Whatever else the name says, and were it a folder.
    if (holdsEntryNamed(station.projectFolder, ".ofs")) station.kind = StationKind::WithOffset;
    for (const std::string& name : listFiles(station.projectFolder)) {
        const std::string path = inFolder(station.projectFolder, name);
        const std::optional<ProjectRole> role = roleOf(name, kProjectFiles);
        if (!role) continue;
        if (role == ProjectRole::Offset) {
            if (readFirstLine(path)) station.hasOffsetLine = true;
        } else {
            station.calibrations[static_cast<std::size_t>(*role)] = path;
        }
    }
    // With an offset line the step is set, whatever the scan folder says.
    if (station.hasOffsetLine) station.cameraStep = 30;
}

}  // namespace

const char* usualName(ProjectFile file) {
    return kProjectFiles[static_cast<std::size_t>(file)].lower.data();
}

StationFiles findStationFiles(const std::string& scanFolder) {
    StationFiles station;
    station.projectFolder = folderOf(scanFolder);
    lookThroughScanFolder(scanFolder, station);
    lookThroughProjectFolder(station);
    return station;
}

}  // namespace brisko
