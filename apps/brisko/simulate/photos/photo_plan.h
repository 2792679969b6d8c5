#pragma once

#include "simulate/geometry.h"
#include "simulate/photos/photo_camera.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::tool {

/// Pixels.
struct PhotoSize {
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;

    std::uint64_t pixels() const { return std::uint64_t{columns} * rows; }
};

/// A photo that is to be taken.
struct PlannedPhoto {
    std::string name;      // without extension
    double azimuth = 0;    // of the head, degrees, counter-clockwise from +x, -180 to 180
    double elevation = 0;  // degrees, positive up
    PhotoCamera camera;
};

/// The photos of a station.
struct PhotoPlan {
    /// divisor: photos have the sensor's columns and rows divided by it.
    PhotoPlan(PhotoKind photoKind, std::uint32_t divisor, const Pose& pose);

    PhotoKind kind;
    const CameraRig& rig;
    PhotoSize upright;
    Rotation levelling;  // from the scanner's frame to the one in which the head's angles are taken
    std::vector<PlannedPhoto> photos;

    /// As photos lie in their files.
    PhotoSize stored() const;
};

}  // namespace brisko::tool
