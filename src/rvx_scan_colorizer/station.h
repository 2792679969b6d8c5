#pragma once

#include "base/worker_pool.h"
#include "rvx_scan_colorizer/box_tree.h"
#include "rvx_scan_colorizer/camera.h"

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace brisko {

using CameraBox = vexo::BoxTreeBox<double, 3>;
using CameraBoxTree = vexo::BoxTreeTree<double, 3, int>;

/// Points are looked up by their direction: on a sphere of this radius about the scanner, metres.
inline constexpr double kSphereRadius = 100;

/// The point moved to that sphere. Returns false for points too close to the scanner to have a
/// direction, and for those that are not finite.
inline bool placeOnSphere(const double* point, std::array<double, 3>& onSphere) {
    constexpr double kShortest = 1e-6;
    const double x = point[0], y = point[1], z = point[2];
    double length = std::sqrt(x * x + y * y + z * z);
    if (!(length <= std::numeric_limits<double>::max())) length = std::hypot(x, y, z);
    if (!(length > kShortest) || !std::isfinite(length)) return false;
    const double scale = kSphereRadius / length;
    onSphere = {x * scale, y * scale, z * scale};
    return true;
}

/// The box around the part of the sphere that a photo shows, from directions that outline it; the
/// first two are neighbouring corners.
/// Deliberate: the box always reaches 0 on the side of larger values, so it may hold more than the
/// photo shows; and without an outline it is inside out and holds nothing.
CameraBox boxAround(const std::vector<Vector3>& outline);

/// The photos of a station, ready to colour points, and the tree that finds those which may show a
/// point. Does not change once it is made: the handles of one scan share it.
struct Station {
    std::vector<Camera> cameras;  // in the order of their names
    CameraBoxTree boxes;          // items are places in `cameras`
};

/// Reads the files around a scan. Throws std::exception, or a class derived from it, when a file
/// that the station needs is missing or damaged.
Station readStation(const std::string& scanFolder, PhotoOutlines outlines,
                    const GoesOn& goesOn = {});

}  // namespace brisko
