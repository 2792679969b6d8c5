#include "rvx_scan_colorizer/nearby_cameras.h"

#include <algorithm>

namespace brisko {

void NearbyCameras::moveTo(const std::array<double, 3>& onSphere) {
    // Some two degrees: large enough for dozens of points of a scan line, and small enough that few
    // boxes end inside.
    constexpr double kReach = kSphereRadius / 25;
    for (std::size_t i = 0; i < onSphere.size(); ++i)
        m_part.axes[i] = {onSphere[i] - kReach, onSphere[i] + kReach};

    struct Finder {
        NearbyCameras& cameras;
        void found(const CameraBoxTree::Entry& entry) {
            const auto& [box, camera] = entry;
            cameras.m_nearby.push_back({camera, box.contains(cameras.m_part), box});
        }
    };
    m_nearby.clear();
    m_boxes.findTouching(m_part, Finder{*this});
    std::sort(m_nearby.begin(), m_nearby.end(),
              [](const Nearby& a, const Nearby& b) { return a.camera < b.camera; });
}

}  // namespace brisko
