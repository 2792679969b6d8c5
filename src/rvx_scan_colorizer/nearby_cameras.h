#pragma once

#include "rvx_scan_colorizer/station.h"

#include <array>
#include <vector>

namespace brisko {

/// The cameras that may show the points of some small part of the sphere. Neighbours in a scan have the
/// same ones, so the tree is asked once for some dozens of points.
class NearbyCameras {
public:
    struct Nearby {
        int camera;
        bool holdsAll;  // every point of the part lies in its box
        CameraBox box;
    };

    explicit NearbyCameras(const Station& station) : m_boxes(station.boxes) {
        m_nearby.reserve(station.cameras.size());
    }

    /// Whether a point of the sphere lies in the part.
    bool cover(const std::array<double, 3>& onSphere) const { return m_part.contains(onSphere); }

    /// Goes on to the part around a point of the sphere.
    void moveTo(const std::array<double, 3>& onSphere);

    /// Those of the part, in their order. A box that does not hold a point does not show it.
    const std::vector<Nearby>& nearby() const { return m_nearby; }

private:
    const CameraBoxTree& m_boxes;
    CameraBox m_part{{{{1, -1}, {1, -1}, {1, -1}}}};  // holds nothing, to begin with
    std::vector<Nearby> m_nearby;
};

}  // namespace brisko
