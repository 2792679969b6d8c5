#pragma once

#include "rvx_scan_colorizer/camera_record.h"

#include <string>

namespace brisko {

/// A file of a camera and what is wrong with it.
struct CameraFault {
    std::string file;
    std::string text;  // names the field: "the horizontal pixel pitch is 0 mm; it must be above 0"
};

/// Why a camera with a model gives its photo no directions, as far as its files show.
CameraFault findCameraFault(const CameraRecord& record, const PhotoFiles& photo);

}  // namespace brisko
