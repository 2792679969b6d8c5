#include "rvx_scan_colorizer/station.h"

#include "base/worker_pool.h"
#include "rvx_scan_colorizer/camera.h"
#include "rvx_scan_colorizer/station_files.h"

#include <brisko_codec/threads.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace brisko {

namespace {

constexpr double kInnerRadius = 99;
constexpr double kShortest = 1e-6;

double lengthOf(const Vector3& v) {
    return std::hypot(v[0], v[1], v[2]);
}

/// How far out the outline is taken so that the sphere does not bulge out of the box between the first
/// two corners.
double outerRadius(const std::vector<Vector3>& outline) {
    constexpr double kUsual = 110;
    if (outline.size() < 3) return kUsual;
    const double cosine =
        dot(outline[0], outline[1]) / (lengthOf(outline[0]) * lengthOf(outline[1]));
    const double angle = std::acos(std::clamp(cosine, -1.0, 1.0));
    const double radius = kSphereRadius / std::cos(angle / 2) + 1;
    return std::isfinite(radius) ? radius : kUsual;
}

void extend(CameraBox& box, const Vector3& direction, double distance) {
    for (std::size_t i = 0; i < 3; ++i) {
        const double value = direction[i] * distance;
        box.axes[i].minimum = std::min(box.axes[i].minimum, value);
        box.axes[i].maximum = std::max(box.axes[i].maximum, value);
    }
}

std::vector<CameraRecord> readRecords(const StationFiles& files) {
    std::vector<CameraRecord> records;
    for (const PhotoFiles& photo : files.photos) {
        if (files.takes(photo)) records.push_back(readCameraRecord(files, photo));
    }
    return records;
}

CameraBoxTree buildTree(const std::vector<Camera>& cameras) {
    std::vector<CameraBoxTree::Entry> entries;
    entries.reserve(cameras.size());
    for (const Camera& camera : cameras) {
        entries.emplace_back(boxAround(camera.outline), static_cast<int>(entries.size()));
    }
    return CameraBoxTree(std::move(entries));
}

}  // namespace

CameraBox boxAround(const std::vector<Vector3>& outline) {
    CameraBox box;
    for (auto& axis : box.axes)
        axis = {std::numeric_limits<double>::max(), 0.0};
    const double radius = outerRadius(outline);
    for (const Vector3& direction : outline) {
        const double length = lengthOf(direction);
        if (!(length > kShortest) || !std::isfinite(length)) continue;
        const Vector3 unit = {direction[0] / length, direction[1] / length, direction[2] / length};
        extend(box, unit, kInnerRadius);
        extend(box, unit, radius);
    }
    return box;
}

Station readStation(const std::string& scanFolder, PhotoOutlines outlines, const GoesOn& goesOn) {
    const StationFiles files = findStationFiles(scanFolder);
    const std::vector<CameraRecord> records = readRecords(files);
    Station station;
    station.cameras.resize(records.size());
    forEachIndexWhile(
        goesOn, records.size(),
        [&](std::size_t i, const GoesOn&) {
            station.cameras[i] = prepareCamera(records[i], files.kind, outlines);
        },
        jobThreads());
    station.boxes = buildTree(station.cameras);
    return station;
}

}  // namespace brisko
