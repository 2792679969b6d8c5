#include <brisko_codec/scan_photos.h>

#include "base/file.h"
#include "rvx_scan_colorizer/calibration_files.h"
#include "rvx_scan_colorizer/camera.h"
#include "rvx_scan_colorizer/image_cache.h"
#include "rvx_scan_colorizer/station_files.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <optional>

namespace brisko {

namespace {

std::string numberText(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

bool isRotation(const Matrix3& matrix) {
    // Far from exact: files round. What has no direction at all is what counts.
    constexpr double kShortest = 1e-6;
    return std::all_of(std::begin(matrix.rows), std::end(matrix.rows), [](const Vector3& row) {
        const double length = std::hypot(row[0], row[1], row[2]);
        return std::isfinite(length) && length > kShortest;
    });
}

/// The field of a model that cannot be; empty where all are well. Models keep metres.
std::string fieldFault(const CameraModel& model) {
    const struct {
        const char* field;
        double value;
    } lengths[] = {{"principal distance", model.principalDistance},
                   {"horizontal pixel pitch", model.pitchX},
                   {"vertical pixel pitch", model.pitchY}};
    for (const auto& [field, value] : lengths) {
        if (value > 0 && std::isfinite(value)) continue;
        return std::string("the ") + field + " is " + numberText(value * 1000) +
               " mm; it must be above 0";
    }
    if (model.modelCode < 0 || model.modelCode > 2) {
        return "the model code is " + std::to_string(model.modelCode) + "; 0, 1 and 2 are known";
    }
    if (!std::isfinite(model.principalX) || !std::isfinite(model.principalY)) {
        return "the principal point is not a number";
    }
    const auto isFinite = [](double value) { return std::isfinite(value); };
    if (!std::all_of(model.coefficients.begin(), model.coefficients.end(), isFinite)) {
        return "a distortion coefficient is not a number";
    }
    return {};
}

/// A file of a camera and what is wrong with it.
struct CameraFault {
    std::string file;
    std::string text;  // names the field: "the horizontal pixel pitch is 0 mm; it must be above 0"
};

/// Why a camera with a model gives its photo no directions, as far as its files show.
CameraFault findCameraFault(const CameraRecord& record, const PhotoFiles& photo) {
    const std::string field = fieldFault(*record.model);
    if (!field.empty()) return {record.modelPath, field};
    // What is left is the way from the camera to the scanner.
    if (isRotation(record.model->pose.rotation)) {
        return {record.modelPath, "its lens shows no direction at the corners of the photo"};
    }
    const bool hasOwnCamera = record.modelPath == photo.camera;
    const std::string& turns = hasOwnCamera ? photo.exterior : photo.levelling;
    return {turns.empty() ? record.modelPath : turns, "its rotation gives the camera no direction"};
}

/// The size in the header; nothing when there is none.
std::optional<ImageSize> sizeOf(const std::string& path) {
    try {
        return getImageDimention(path);
    } catch (...) {
        return std::nullopt;
    }
}

PhotoPixels decode(const Camera& camera, const GoesOn& goesOn) {
    try {
        return loadSharedImage(camera.path, camera.turn, goesOn)->isMended() ? PhotoPixels::Mended
                                                                             : PhotoPixels::Whole;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const WorkStopped&) {
        throw;
    } catch (const std::exception&) {
        return PhotoPixels::Unreadable;
    }
}

enum class Depth { Headers, Pixels };

/// A photo and what is wrong with its files.
class Examination {
public:
    Examination(const StationFiles& station, const PhotoFiles& files)
        : m_station(station), m_files(files) {
        photo.path = files.path;
    }

    void run(Depth depth, const GoesOn& goesOn) {
        if (!m_station.takes(m_files)) {
            photo.use = PhotoUse::WithoutAngles;
            return;
        }
        try {
            const CameraRecord record = readCameraRecord(m_station, m_files);
            if (findSize()) look(record, depth, goesOn);
        } catch (const FileFailure& failure) {
            const bool isThere = fileStamp(failure.path().c_str()).has_value();
            breakBy(PhotoUse::BrokenCalibration, failure.path(),
                    isThere ? "cannot be read" : "is missing");
        }
    }

    ScanPhoto photo;
    std::optional<PhotoFault> fault;

private:
    bool findSize() {
        const std::optional<ImageSize> size = sizeOf(m_files.path);
        if (!size) {
            breakBy(PhotoUse::BrokenPhoto, m_files.path, jpegFault(m_files.path));
            return false;
        }
        photo.width = size->width;
        photo.height = size->height;
        return true;
    }

    void look(const CameraRecord& record, Depth depth, const GoesOn& goesOn) {
        if (!record.model) photo.use = PhotoUse::WithoutCamera;
        try {
            const Camera camera = prepareCamera(record, m_station.kind, PhotoOutlines::Corners);
            if (camera.isBeyondReach) {
                fault = {m_files.path, record.modelPath,
                         "its lens does not reach the corners of the photo; these colour nothing",
                         false};
            }
            if (depth == Depth::Pixels) photo.pixels = decode(camera, goesOn);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const WorkStopped&) {
            throw;
        } catch (const std::exception&) {
            if (!record.model) return breakBy(PhotoUse::BrokenPhoto, m_files.path, "has changed");
            const CameraFault found = findCameraFault(record, m_files);
            breakBy(PhotoUse::BrokenCalibration, found.file, found.text);
        }
    }

    void breakBy(PhotoUse how, const std::string& file, const std::string& text) {
        photo.use = how;
        photo.culprit = file;
        fault = {m_files.path, file, text, true};
    }

    const StationFiles& m_station;
    const PhotoFiles& m_files;
};

/// Calls ask() before each photo and while it is decoded, and take(examination) after it. What ask() throws
/// comes out. Returns the file because of which no photo can be examined, if there is one.
template <class Take>
std::string examineAll(const std::string& scanPath, Depth depth, StationKind& kind,
                       const std::function<void()>& ask, const Take& take) {
    std::exception_ptr stopped;
    const GoesOn goesOn = [&] {
        try {
            ask();
        } catch (...) {
            stopped = std::current_exception();
        }
        return !stopped;
    };
    try {
        const StationFiles station = findStationFiles(folderOf(scanPath));
        kind = station.kind;
        for (const PhotoFiles& files : station.photos) {
            ask();
            Examination examination(station, files);
            examination.run(depth, goesOn);
            take(examination);
        }
    } catch (const FileFailure& failure) {
        return failure.path();
    } catch (const WorkStopped&) {
        if (stopped) std::rethrow_exception(stopped);
        throw;
    }
    return {};
}

ScanPhotos scanPhotos(const std::string& scanPath, Depth depth, const std::function<void()>& ask) {
    ScanPhotos found;
    StationKind kind = StationKind::Turned;
    found.culprit = examineAll(scanPath, depth, kind, ask, [&](const Examination& examination) {
        found.photos.push_back(examination.photo);
    });
    found.stationKind = static_cast<int>(kind);
    for (const ScanPhoto& photo : found.photos) {
        const bool isBroken =
            photo.use == PhotoUse::BrokenCalibration || photo.use == PhotoUse::BrokenPhoto;
        if (isBroken && found.culprit.empty()) found.culprit = photo.culprit;
    }
    return found;
}

}  // namespace

ScanPhotos findScanPhotos(const std::string& scanPath) {
    return scanPhotos(scanPath, Depth::Headers, [] {});
}

ScanPhotos decodeScanPhotos(const std::string& scanPath) {
    return decodeScanPhotos(scanPath, [] {});
}

ScanPhotos decodeScanPhotos(const std::string& scanPath, const std::function<void()>& ask) {
    return scanPhotos(scanPath, Depth::Pixels, ask);
}

std::vector<PhotoFault> findPhotoFaults(const std::string& scanPath) {
    std::vector<PhotoFault> faults;
    StationKind kind = StationKind::Turned;
    const auto nothing = [] {};
    examineAll(scanPath, Depth::Headers, kind, nothing, [&](const Examination& examination) {
        if (examination.fault) faults.push_back(*examination.fault);
    });
    return faults;
}

}  // namespace brisko
