#include "rvx_scan_colorizer/station_files.h"

#include "base/companion_path.h"
#include "base/file.h"
#include "base/utf8.h"
#include "rvx_scan_colorizer/calibration_files.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <tuple>

namespace brisko {

namespace {

std::string upperCase(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

}  // namespace

std::vector<std::string> listFiles(const std::string& folder) {
    std::vector<std::pair<std::string, std::string>> keyed;
    for (std::string& name : filesIn(folder)) {
        if (isUtf8(name)) keyed.emplace_back(upperCase(name), std::move(name));
    }
    std::sort(keyed.begin(), keyed.end());
    std::vector<std::string> names;
    names.reserve(keyed.size());
    for (auto& [key, name] : keyed)
        names.push_back(std::move(name));
    return names;
}

bool holdsEntryNamed(const std::string& folder, std::string_view part) {
    bool holds = false;
    forEachEntry(folder, [&](std::string_view name) {
        holds = holds || name.find(part) != std::string_view::npos;
    });
    return holds;
}

std::string folderOf(const std::string& path) {
    std::error_code error;
    std::filesystem::path folder;
    for (const auto& part : std::filesystem::absolute(path, error).parent_path()) {
        if (part == "..") {
            // Of the folder that a symbolic link leads to, as for the system.
            folder = std::filesystem::weakly_canonical(folder, error).parent_path();
        } else if (part != ".") {
            folder /= part;
        }
    }
    return folder.string();
}

namespace {

/// Cases count, but most names have a second spelling.
bool nameHolds(const std::string& name, std::string_view part, std::string_view inCapitals) {
    return name.find(part) != std::string::npos || name.find(inCapitals) != std::string::npos;
}

std::optional<CameraKind> calibratedKind(const std::string& name) {
    for (const CameraTraits& traits : allCameraTraits()) {
        if (nameHolds(name, traits.calibration, traits.calibrationInCapitals)) return traits.kind;
    }
    return std::nullopt;
}

constexpr std::string_view kOffset = ".ofs";

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
        if (!nameHolds(name, ".jpg", ".JPG")) {
            const bool hasStep = nameHolds(name, "camera_cfg", "CAMERA_CFG");
            if (hasStep) station.cameraStep = readCameraStep(path);
            continue;
        }
        station.photos.push_back(findCompanions(path, name));
        const PhotoFiles& photo = station.photos.back();
        if (!photo.camera.empty() && !photo.exterior.empty()) station.kind = StationKind::PerPhoto;
    }
}

void lookThroughProjectFolder(StationFiles& station) {
    // Whatever else the name says, and even a folder.
    if (holdsEntryNamed(station.projectFolder, kOffset)) station.kind = StationKind::WithOffset;
    for (const std::string& name : listFiles(station.projectFolder)) {
        const std::string path = inFolder(station.projectFolder, name);
        if (const std::optional<CameraKind> kind = calibratedKind(name)) {
            station.calibrations[static_cast<std::size_t>(*kind)] = path;
        } else if (nameHolds(name, kOffset, kOffset) && readFirstLine(path)) {
            station.hasOffsetLine = true;
        }
    }
    // With an offset line the step is set, whatever the scan folder says.
    if (station.hasOffsetLine) station.cameraStep = 30;
}

}  // namespace

StationFiles findStationFiles(const std::string& scanFolder) {
    StationFiles station;
    station.projectFolder = folderOf(scanFolder);
    lookThroughScanFolder(scanFolder, station);
    lookThroughProjectFolder(station);
    return station;
}

}  // namespace brisko
