#pragma once

#include "rvx_scan_colorizer/camera_pose.h"

#include <array>
#include <cstdint>

namespace brisko {

/// The distortion coefficients that are used: k1, k2, k3, p1, p2, in powers of millimetres.
using Coefficients = std::array<double, 5>;

/// A calibrated camera as its files tell it, independent of the size of its photos. Lengths are
/// metres, as the files' numbers are divided by 1000 when they are read.
struct CameraModel {
    double principalDistance = 0;
    double principalX = 0, principalY = 0;
    std::int32_t modelCode = 0;
    Coefficients coefficients{};
    double pitchX = 0, pitchY = 0;  // pixel to pixel
    double pixelSize = 0;           // millimetres; the first pitch
    CameraPose pose;
};

}  // namespace brisko
