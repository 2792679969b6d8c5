#include "rvx_scan_colorizer/station.h"

#include "base/worker_pool.h"
#include "rvx_scan_colorizer/camera_record.h"
#include "rvx_scan_colorizer/station_files.h"

namespace brisko {

namespace {

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

Station readStation(const std::string& scanFolder, PhotoOutlines outlines) {
    const StationFiles files = findStationFiles(scanFolder);
    const std::vector<CameraRecord> records = readRecords(files);
    Station station;
    station.cameras.resize(records.size());
    forEachIndex(records.size(), [&](std::size_t i) {
        station.cameras[i] = prepareCamera(records[i], files.kind, outlines);
    });
    station.boxes = buildTree(station.cameras);
    return station;
}

}  // namespace brisko
