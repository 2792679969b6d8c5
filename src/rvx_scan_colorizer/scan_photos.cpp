#include <brisko_codec/scan_photos.h>

#include "rvx_scan_colorizer/calibration_files.h"
#include "rvx_scan_colorizer/camera.h"
#include "rvx_scan_colorizer/camera_record.h"
#include "rvx_scan_colorizer/folder_listing.h"
#include "rvx_scan_colorizer/station_files.h"

#include <optional>

namespace brisko {

namespace {

/// The size that the header tells; nothing when it tells none.
std::optional<ImageSize> sizeOf(const std::string& path) {
    try {
        return getImageDimention(path);
    } catch (...) {
        return std::nullopt;
    }
}

ScanPhoto broken(ScanPhoto photo, PhotoUse how, std::string culprit) {
    photo.use = how;
    photo.culprit = std::move(culprit);
    return photo;
}

ScanPhoto examine(const StationFiles& station, const PhotoFiles& files) {
    ScanPhoto photo;
    photo.path = files.path;
    if (!station.takes(files)) {
        photo.use = PhotoUse::WithoutAngles;
        return photo;
    }
    try {
        const CameraRecord record = readCameraRecord(station, files);
        if (!record.model) {
            photo.use = PhotoUse::WithoutCamera;
            return photo;
        }
        const std::optional<ImageSize> size = sizeOf(files.path);
        if (!size) return broken(photo, PhotoUse::BrokenPhoto, files.path);
        photo.width = size->width;
        photo.height = size->height;
        prepareCamera(record, station.kind);
    } catch (const FileFailure& failure) {
        return broken(photo, PhotoUse::BrokenCalibration, failure.path());
    } catch (const std::exception&) {
        return broken(photo, PhotoUse::BrokenCalibration, {});
    }
    return photo;
}

}  // namespace

ScanPhotos findScanPhotos(const std::string& scanPath) {
    ScanPhotos found;
    try {
        const StationFiles station = findStationFiles(folderOf(scanPath));
        found.stationKind = static_cast<int>(station.kind);
        for (const PhotoFiles& photo : station.photos)
            found.photos.push_back(examine(station, photo));
    } catch (const FileFailure& failure) {
        found.culprit = failure.path();
    }
    for (const ScanPhoto& photo : found.photos) {
        const bool isBroken =
            photo.use == PhotoUse::BrokenCalibration || photo.use == PhotoUse::BrokenPhoto;
        if (isBroken && found.culprit.empty()) {
            found.culprit = photo.culprit.empty() ? photo.path : photo.culprit;
        }
    }
    return found;
}

}  // namespace brisko
