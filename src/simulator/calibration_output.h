#pragma once

#include "simulator/photo_plan.h"

#include <string>
#include <vector>

namespace brisko::simulator {

/// A small file with its bytes.
struct CalibrationBytes {
    std::string name;
    std::string bytes;
};

/// The files that describe how the photos were taken; docs/formats/camera_files.md has their layouts.
/// For the folder above the scan's:
std::vector<CalibrationBytes> projectFiles(const PhotoPlan& plan);
/// For the folder of the scan and its photos:
std::vector<CalibrationBytes> scanFolderFiles(const PhotoPlan& plan);

}  // namespace brisko::simulator
