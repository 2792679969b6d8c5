#include "scan/formats/pcd/viewpoint.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace brisko::scan {

std::optional<PoseMatrix> matrixOf(const Viewpoint& pose) {
    const double length = std::hypot(std::hypot(pose[3], pose[4]), std::hypot(pose[5], pose[6]));
    const bool isPose = length > 0 && std::all_of(pose.begin(), pose.end(),
                                                  [](double n) { return std::isfinite(n); });
    if (!isPose || !std::isfinite(length)) return {};
    const double w = pose[3] / length, x = pose[4] / length, y = pose[5] / length,
                 z = pose[6] / length;
    return PoseMatrix{1 - 2 * (y * y + z * z),
                      2 * (x * y - w * z),
                      2 * (x * z + w * y),
                      pose[0],
                      2 * (x * y + w * z),
                      1 - 2 * (x * x + z * z),
                      2 * (y * z - w * x),
                      pose[1],
                      2 * (x * z - w * y),
                      2 * (y * z + w * x),
                      1 - 2 * (x * x + y * y),
                      pose[2],
                      0,
                      0,
                      0,
                      1};
}

std::optional<Viewpoint> viewpointOf(const PoseMatrix& m, double tolerance) {
    // Four times the products of the quaternion's parts with its largest part, which is divided by.
    const double parts[4][4] = {{1 + m[0] + m[5] + m[10], m[9] - m[6], m[2] - m[8], m[4] - m[1]},
                                {m[9] - m[6], 1 + m[0] - m[5] - m[10], m[1] + m[4], m[2] + m[8]},
                                {m[2] - m[8], m[1] + m[4], 1 - m[0] + m[5] - m[10], m[6] + m[9]},
                                {m[4] - m[1], m[2] + m[8], m[6] + m[9], 1 - m[0] - m[5] + m[10]}};
    std::size_t largest = 0;
    for (std::size_t i = 1; i < 4; ++i)
        largest = parts[i][i] > parts[largest][largest] ? i : largest;
    Viewpoint pose{m[3], m[7], m[11]};
    double length = 0;
    for (const double part : parts[largest])
        length = std::hypot(length, part);
    for (std::size_t i = 0; i < 4; ++i)
        pose[3 + i] = parts[largest][i] / length;
    const auto again = matrixOf(pose);
    if (!again) return {};
    for (std::size_t i = 0; i < m.size(); ++i) {
        if (!(std::abs((*again)[i] - m[i]) <= tolerance)) return {};
    }
    return pose;
}

}  // namespace brisko::scan
