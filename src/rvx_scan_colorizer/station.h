#pragma once

#include "rvx_scan_colorizer/camera.h"
#include "rvx_scan_colorizer/camera_box.h"

#include <string>
#include <vector>

namespace brisko {

/// The photos of a station, ready to colour points, and the tree that tells which of them may show a
/// point. Does not change once it is made: the handles of one scan share it.
struct Station {
    std::vector<Camera> cameras;  // in the order of their names
    CameraBoxTree boxes;          // items are places in `cameras`
};

/// Reads the files around a scan. Throws std::exception or what is derived from it when a file that
/// the station needs is missing or damaged.
Station readStation(const std::string& scanFolder, PhotoOutlines outlines);

}  // namespace brisko
