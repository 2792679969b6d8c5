#include <brisko_codec/scan_photos.h>

#include "rvx_scan_colorizer/calibration_files.h"
#include "rvx_scan_colorizer/camera.h"
#include "rvx_scan_colorizer/camera_record.h"
#include "rvx_scan_colorizer/folder_listing.h"
#include "rvx_scan_colorizer/shared_images.h"
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

PhotoPixels decode(const Camera& camera) {
    if (!camera.seesAnything) return PhotoPixels::NotDecoded;
    try {
        return loadSharedImage(camera.path, camera.turn)->isMended() ? PhotoPixels::Mended
                                                                     : PhotoPixels::Whole;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return PhotoPixels::Unreadable;
    }
}

enum class Depth { Headers, Pixels };

ScanPhoto examine(const StationFiles& station, const PhotoFiles& files, Depth depth) {
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
        const Camera camera = prepareCamera(record, station.kind);
        if (depth == Depth::Pixels) photo.pixels = decode(camera);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const FileFailure& failure) {
        return broken(photo, PhotoUse::BrokenCalibration, failure.path());
    } catch (const std::exception&) {
        return broken(photo, PhotoUse::BrokenCalibration, {});
    }
    return photo;
}

ScanPhotos examineAll(const std::string& scanPath, Depth depth) {
    ScanPhotos found;
    try {
        const StationFiles station = findStationFiles(folderOf(scanPath));
        found.stationKind = static_cast<int>(station.kind);
        for (const PhotoFiles& photo : station.photos)
            found.photos.push_back(examine(station, photo, depth));
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

}  // namespace

ScanPhotos findScanPhotos(const std::string& scanPath) {
    return examineAll(scanPath, Depth::Headers);
}

ScanPhotos decodeScanPhotos(const std::string& scanPath) {
    return examineAll(scanPath, Depth::Pixels);
}

}  // namespace brisko
