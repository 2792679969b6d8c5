#pragma once

#include "simulate/photos/photo_plan.h"

#include <string>
#include <vector>

namespace brisko::tool {

/// A small file with its bytes.
struct CalibrationBytes {
    std::string name;
    std::string bytes;
};

/// What those who use the photos must know, as docs/formats/camera_files.md tells it.
/// For the folder above the scan's:
std::vector<CalibrationBytes> projectFiles(const PhotoPlan& plan);
/// For the folder of the scan and its photos:
std::vector<CalibrationBytes> scanFolderFiles(const PhotoPlan& plan);

}  // namespace brisko::tool
